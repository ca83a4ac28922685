#include "Kernel/Base64OutStream.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace Kernel {

namespace {

constexpr std::size_t GroupSize = 3;  // bytes, which make...
constexpr std::size_t TextSize = 4;   // ...as many characters
constexpr std::size_t BufferSize = 4096 * TextSize;

/// The two characters of each 12-bit value: half as many look-ups as one for each 6 bits.
constexpr auto Pairs = [] {
    constexpr std::string_view Alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::array<std::array<char, 2>, 4096> pairs{};
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        pairs[i] = {Alphabet[i / 64], Alphabet[i % 64]};
    }
    return pairs;
}();

/// Writes the two characters of the 12 bits of `bits` from bit `shift` up.
void EncodePair(std::uint64_t bits, int shift, char* text) noexcept {
    std::memcpy(text, Pairs[(bits >> shift) & 0xFFF].data(), 2);
}

std::uint64_t Load(const std::byte* bytes, int index, int shift) noexcept {
    return std::to_integer<std::uint64_t>(bytes[index]) << shift;
}

/// Eight bytes in big-endian order, in a form that compilers turn into one load.
std::uint64_t LoadEight(const std::byte* bytes) noexcept {
    return Load(bytes, 0, 56) | Load(bytes, 1, 48) | Load(bytes, 2, 40) | Load(bytes, 3, 32) |
           Load(bytes, 4, 24) | Load(bytes, 5, 16) | Load(bytes, 6, 8) | Load(bytes, 7, 0);
}

/// Encodes complete groups: four characters for each three bytes.
void Encode(std::span<const std::byte> groups, char* text) noexcept {
    const std::byte* next = groups.data();
    const std::byte* const end = next + groups.size();
    for (; end - next >= 8; next += 6, text += 8) {  // loads eight bytes, of which six are used
        const std::uint64_t bits = LoadEight(next);
        EncodePair(bits, 52, text);
        EncodePair(bits, 40, text + 2);
        EncodePair(bits, 28, text + 4);
        EncodePair(bits, 16, text + 6);
    }
    for (; next != end; next += 3, text += 4) {
        const std::uint64_t bits = Load(next, 0, 16) | Load(next, 1, 8) | Load(next, 2, 0);
        EncodePair(bits, 12, text);
        EncodePair(bits, 0, text + 2);
    }
}

}  // namespace

Base64OutStream::Base64OutStream(Counted<OutStream> target)
    : m_target(std::move(target)), m_text(BufferSize) {}

Base64OutStream::~Base64OutStream() = default;

void Base64OutStream::Write(std::span<const std::byte> bytes) {
    if (m_groupFill != 0) {
        bytes = CompleteGroup(bytes);
    }
    const auto rest = bytes.last(bytes.size() % GroupSize);
    EncodeGroups(bytes.first(bytes.size() - rest.size()));
    std::copy(rest.begin(), rest.end(), m_group.begin() + m_groupFill);
    m_groupFill += rest.size();
}

void Base64OutStream::Flush() {
    WriteText();
    m_target->Flush();
}

void Base64OutStream::FlushBase64() {
    if (const std::size_t missing = GroupSize - m_groupFill; missing != GroupSize) {
        std::fill(m_group.begin() + m_groupFill, m_group.end(), std::byte{0});
        m_groupFill = 0;
        EncodeGroups(m_group);
        std::fill_n(m_text.data() + m_textFill - missing, missing, '=');
    }
    WriteText();
}

/// Adds bytes to the incomplete group, encodes it if it is complete, and returns the other bytes.
std::span<const std::byte> Base64OutStream::CompleteGroup(std::span<const std::byte> bytes) {
    const std::size_t count = std::min(bytes.size(), GroupSize - m_groupFill);
    std::copy_n(bytes.begin(), count, m_group.begin() + m_groupFill);
    m_groupFill += count;
    if (m_groupFill == GroupSize) {
        m_groupFill = 0;
        EncodeGroups(m_group);
    }
    return bytes.subspan(count);
}

void Base64OutStream::EncodeGroups(std::span<const std::byte> groups) {
    while (!groups.empty()) {
        if (m_textFill == m_text.size()) {
            WriteText();
        }
        const std::size_t room = (m_text.size() - m_textFill) / TextSize;
        const auto piece = groups.first(std::min(groups.size(), room * GroupSize));
        Encode(piece, m_text.data() + m_textFill);
        m_textFill += piece.size() / GroupSize * TextSize;
        groups = groups.subspan(piece.size());
    }
}

void Base64OutStream::WriteText() {
    const auto text = std::span(m_text).first(std::exchange(m_textFill, 0));
    if (!text.empty()) {
        m_target->Write(std::as_bytes(text));
    }
}

}  // namespace Kernel
