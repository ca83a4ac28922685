#include "terminal/ShellWords.h"

namespace LearningApp {

// Double quotation marks, which both cmd.exe and PowerShell know. What stands between them is taken
// literally, but for what CanBeQuoted() names: there is no way to write that both understand.
std::string QuoteForShell(std::string_view text) {
    constexpr std::string_view Plain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-./\\:+=";
    if (!text.empty() && text.find_first_not_of(Plain) == std::string_view::npos) {
        return std::string(text);
    }
    // As the C library of Windows takes arguments apart: backslashes before a quotation mark stand
    // for half as many.
    std::string quoted = "\"";
    std::size_t backslashes = 0;
    for (const char c : text) {
        if (c == '"') {
            quoted.append(backslashes + 1, '\\');
        }
        backslashes = c == '\\' ? backslashes + 1 : 0;
        quoted += c;
    }
    return quoted.append(backslashes, '\\') + '"';
}

bool CanBeQuoted(std::string_view text) noexcept {
    // cmd.exe ends the word at a quotation mark, whatever stands before it, and goes on behind it.
    return text.find_first_of("\"%!$`") == std::string_view::npos;
}

std::string GetRestriction(std::string_view path) {
    // S-1-3-4 is the owner, whatever the language of the system calls him.
    return "icacls " + QuoteForShell(path) + " /inheritance:r /grant:r *S-1-3-4:F";
}

}  // namespace LearningApp
