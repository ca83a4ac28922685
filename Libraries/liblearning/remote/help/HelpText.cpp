#include "remote/help/HelpText.h"

#include <array>
#include <string>

namespace Learning {

namespace {

struct Replacement {
    std::string_view from;
    std::string_view to;
};

constexpr std::array<Replacement, 5> Replacements{{
    {"\\n", "\n"},
    {"\\r", "\r"},
    {"\r\n", "\n"},
    {"\n\n\n\n", "\n\n"},
    {"\n\n\n", "\n\n"},
}};

/// Replaces what can be found from left to right without looking at what was inserted.
std::string Replace(std::string_view text, const Replacement& replacement,
                    Kernel::AbortFlag abort) {
    std::string result;
    result.reserve(text.size());
    Kernel::ThrowIfAborted(abort);
    for (std::size_t at = text.find(replacement.from); at != std::string_view::npos;
         at = text.find(replacement.from)) {
        Kernel::ThrowIfAborted(abort);
        result += text.substr(0, at);
        result += replacement.to;
        text.remove_prefix(at + replacement.from.size());
    }
    return result += text;
}

}  // namespace

Kernel::String CleanHelpText(std::string_view answer, Kernel::AbortFlag abort) {
    constexpr const char* WhiteSpace = " \t\n\v\f\r";
    std::string text(answer);
    for (const Replacement& replacement : Replacements) {
        text = Replace(text, replacement, abort);
    }
    const std::size_t start = text.find_first_not_of(WhiteSpace);
    const std::size_t end = text.find_last_not_of(WhiteSpace);
    return start == std::string::npos
               ? Kernel::String()
               : Kernel::String(std::string_view(text).substr(start, end + 1 - start));
}

}  // namespace Learning
