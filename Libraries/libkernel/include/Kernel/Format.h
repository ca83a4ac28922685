// Text with positional placeholders: Format("%2 of %1", 10, "three") is "three of 10".

#pragma once

#include "Kernel/Export.h"
#include "Kernel/String.h"

#include <array>
#include <charconv>
#include <concepts>
#include <span>
#include <string_view>
#include <type_traits>

namespace Kernel {

/// Numbers except bool and char, which have no single text form.
template <class T>
concept PrintableNumber =
    std::is_arithmetic_v<T> && !std::same_as<T, bool> && !std::same_as<T, char>;

/// The text that replaces a placeholder. Numbers are formatted by std::to_chars, independently of
/// the locale: integers in decimal, floating-point numbers in the shortest form that parses to the
/// same value. Refers to its argument: lives no longer than one call.
class FormatArgument {
public:
    // NOLINTBEGIN(google-explicit-constructor): what can be printed is an argument
    FormatArgument(const String& text) : m_text(text) {}
    FormatArgument(std::string_view text) : m_text(text) {}
    FormatArgument(const char* text) : m_text(text != nullptr ? text : "") {}
    FormatArgument(const std::string& text) : m_text(text) {}

    template <PrintableNumber Number>
    FormatArgument(Number value) {
        char* const end = m_digits.data() + m_digits.size();
        const char* const last = std::to_chars(m_digits.data(), end, value).ptr;
        m_text = {m_digits.data(), static_cast<std::size_t>(last - m_digits.data())};
    }
    // NOLINTEND(google-explicit-constructor)

    // m_text may point into this very object.
    FormatArgument(const FormatArgument&) = delete;
    FormatArgument& operator=(const FormatArgument&) = delete;

    std::string_view GetText() const noexcept { return m_text; }

private:
    std::array<char, 32> m_digits;  // the longest double takes 24
    std::string_view m_text;
};

/// `pattern` with each "%1" to "%9" replaced by the argument of that number.
///
/// Works in one pass: a "%1" inside an argument is not replaced. A placeholder that has no argument
/// and any other "%" stay as they are. A placeholder has one digit: "%10" is the first argument
/// followed by "0". Allocates once.
KERNEL_API String FormatList(std::string_view pattern, std::span<const FormatArgument> arguments);

/// FormatList() for strings and numbers.
template <class... Arguments>
String Format(std::string_view pattern, const Arguments&... arguments) {
    if constexpr (sizeof...(Arguments) == 0) {
        return FormatList(pattern, {});
    } else {
        const FormatArgument list[] = {FormatArgument(arguments)...};
        return FormatList(pattern, list);
    }
}

}  // namespace Kernel
