#include "packages/ByteRange.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>

namespace Service {

namespace {

/// A number of digits alone; the largest there is if it is larger still.
std::optional<std::uint64_t> ParseNumber(std::string_view digits) {
    std::uint64_t number = 0;
    const char* const last = digits.data() + digits.size();
    const auto [end, error] = std::from_chars(digits.data(), last, number);
    if (end != last || error == std::errc::invalid_argument) {
        return {};
    }
    return error == std::errc() ? number : std::numeric_limits<std::uint64_t>::max();
}

}  // namespace

ByteRange ParseByteRange(std::string_view header, std::uint64_t size) {
    constexpr std::string_view Unit = "bytes=";
    using Kind = ByteRange::Kind;
    if (!header.starts_with(Unit)) {
        return {};
    }
    header.remove_prefix(Unit.size());
    const std::size_t dash = header.find('-');
    if (dash == std::string_view::npos) {
        return {};
    }
    const std::string_view lastText = header.substr(dash + 1);
    const auto first = ParseNumber(header.substr(0, dash));
    const auto last = ParseNumber(lastText);
    if (dash == 0 && last) {  // so many bytes at the end
        const std::uint64_t count = std::min(*last, size);
        return {count == 0 ? Kind::Outside : Kind::Part, size - count, count};
    }
    if (!first || (!last && !lastText.empty()) || (last && *last < *first)) {
        return {};
    }
    if (*first >= size) {
        return {Kind::Outside};
    }
    return {Kind::Part, *first, last && *last < size ? *last - *first + 1 : size - *first};
}

}  // namespace Service
