#include "transfer/ResponseHead.h"

#include "Network/HttpException.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>

namespace Network {

namespace {

constexpr std::size_t MaximumBytes = 262'144;

std::string_view Trim(std::string_view text) noexcept {
    constexpr std::string_view Space = " \t\r\n";
    const std::size_t start = std::min(text.find_first_not_of(Space), text.size());
    const std::size_t end = text.find_last_not_of(Space) + 1;
    return text.substr(start, std::max(start, end) - start);
}

Kernel::String ToLower(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](unsigned char c) {
        return static_cast<char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
    });
    return lower;
}

/// Takes a number from the start of `text`; false if there is none.
template <class Number>
bool TakeNumber(std::string_view& text, Number& number) noexcept {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return error == std::errc();
}

bool TakeText(std::string_view& text, std::string_view expected) noexcept {
    const bool isThere = text.starts_with(expected);
    text.remove_prefix(isThere ? expected.size() : 0);
    return isThere;
}

}  // namespace

bool ResponseHead::Take(std::string_view line) {
    m_bytes += line.size();
    if (m_bytes > MaximumBytes) {
        throw Http::Exception("the server sends too many headers");
    }
    if (m_isComplete) {
        return false;  // a trailer
    }
    if (line.starts_with("HTTP/")) {
        m_fields.clear();
        m_isChunked = false;
        line.remove_prefix(std::min(line.find(' ') + 1, line.size()));
        TakeNumber(line, m_status);
        return false;
    }
    if (!Trim(line).empty()) {
        TakeField(line);
        return false;
    }
    m_isComplete = IsFinal();
    return m_isComplete;
}

void ResponseHead::TakeField(std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        return;
    }
    Kernel::String name = ToLower(Trim(line.substr(0, colon)));
    Kernel::String value = Trim(line.substr(colon + 1));
    if (name == "transfer-encoding") {
        if (m_isChunked || ToLower(value) != "chunked") {
            throw Http::Exception(
                "the server encodes its response in a way that was not asked for");
        }
        m_isChunked = true;
    }
    m_fields[std::move(name)] = std::move(value);
}

Kernel::String ResponseHead::Find(const char* name) const {
    const auto field = m_fields.find(name);
    return field != m_fields.end() ? field->second : Kernel::String();
}

Kernel::String ResponseHead::GetRedirect() const {
    constexpr std::array Redirects{301, 302, 303, 307, 308};
    return std::ranges::count(Redirects, m_status) != 0 ? Find("location") : Kernel::String();
}

std::optional<ContentRange> ResponseHead::GetRange() const {
    const Kernel::String value = Find("content-range");
    std::string_view text = value;
    ContentRange range;
    if (!TakeText(text, "bytes ") || !TakeNumber(text, range.first) || !TakeText(text, "-") ||
        !TakeNumber(text, range.last) || !TakeText(text, "/") || range.last < range.first) {
        return std::nullopt;
    }
    if (text != "*") {
        if (!TakeNumber(text, range.size.emplace()) || range.last >= *range.size) {
            return std::nullopt;
        }
    }
    return text.empty() || text == "*" ? std::optional(range) : std::nullopt;
}

}  // namespace Network
