#include "remote/help/HelpText.h"

#include <algorithm>
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

static_assert(std::ranges::all_of(Replacements, [](const Replacement& replacement) {
    return replacement.to.size() <= replacement.from.size();  // or it would not fit
}));

/// Replaces what can be found from left to right without looking at what was inserted.
void Replace(std::string& text, const Replacement& replacement, Kernel::AbortFlag abort) {
    Kernel::ThrowIfAborted(abort);
    std::size_t read = 0;
    std::size_t written = 0;
    const auto put = [&](std::string_view part) {  // which may stand where it goes
        std::char_traits<char>::move(text.data() + written, part.data(), part.size());
        written += part.size();
    };
    for (std::size_t at = text.find(replacement.from); at != std::string::npos;
         at = text.find(replacement.from, read)) {
        Kernel::ThrowIfAborted(abort);
        put(std::string_view(text).substr(read, at - read));
        put(replacement.to);
        read = at + replacement.from.size();
    }
    if (read > 0) {
        put(std::string_view(text).substr(read));
        text.resize(written);
    }
}

}  // namespace

Kernel::String CleanHelpText(std::string_view answer, Kernel::AbortFlag abort) {
    constexpr const char* WhiteSpace = " \t\n\v\f\r";
    std::string text(answer);
    for (const Replacement& replacement : Replacements) {
        Replace(text, replacement, abort);
    }
    const std::size_t start = text.find_first_not_of(WhiteSpace);
    const std::size_t end = text.find_last_not_of(WhiteSpace);
    return start == std::string::npos
               ? Kernel::String()
               : Kernel::String(std::string_view(text).substr(start, end + 1 - start));
}

}  // namespace Learning
