#include "Server/Headers.h"

#include <algorithm>

namespace Server {

namespace {

constexpr char ToLower(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

bool EqualsIgnoringCase(std::string_view a, std::string_view b) noexcept {
    return std::ranges::equal(a, b, {}, ToLower, ToLower);
}

const std::string* FindHeader(const Headers& headers, std::string_view name) noexcept {
    const auto found = std::ranges::find_if(
        headers, [name](const auto& field) { return EqualsIgnoringCase(field.first, name); });
    return found == headers.end() ? nullptr : &found->second;
}

}  // namespace Server
