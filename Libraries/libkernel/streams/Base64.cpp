#include "Kernel/Base64.h"

#include <array>
#include <cstdint>

namespace Kernel {

namespace {

constexpr std::uint8_t NoDigit = 255;

constexpr std::array<std::uint8_t, 256> MakeDigits() {
    constexpr std::string_view Alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::array<std::uint8_t, 256> digits{};
    digits.fill(NoDigit);
    for (std::size_t i = 0; i < Alphabet.size(); ++i) {
        digits[static_cast<unsigned char>(Alphabet[i])] = static_cast<std::uint8_t>(i);
    }
    return digits;
}

constexpr std::array<std::uint8_t, 256> Digits = MakeDigits();

}  // namespace

std::optional<std::string> DecodeBase64(std::string_view text) {
    if (text.size() % 4 != 0) {
        return {};
    }
    const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
    text.remove_suffix(padding);
    std::string bytes;
    bytes.reserve(text.size() / 4 * 3 + 3);
    std::uint32_t bits = 0;
    int count = 0;
    for (const char c : text) {
        const std::uint8_t digit = Digits[static_cast<unsigned char>(c)];
        if (digit == NoDigit) {
            return {};
        }
        bits = (bits << 6) | digit;
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes += static_cast<char>(bits >> count & 255);
        }
    }
    const bool hasRest = (bits & ((1U << count) - 1)) != 0;  // as another text would not have
    if (hasRest) {
        return {};
    }
    return bytes;
}

}  // namespace Kernel
