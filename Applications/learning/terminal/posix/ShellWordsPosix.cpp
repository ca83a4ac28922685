#include "terminal/ShellWords.h"

namespace LearningApp {

std::string QuoteForShell(std::string_view text) {
    constexpr std::string_view Plain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-./:,@%+=";
    if (!text.empty() && text.find_first_not_of(Plain) == std::string_view::npos) {
        return std::string(text);
    }
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? std::string_view("'\\''") : std::string_view(&c, 1);
    }
    return quoted + '\'';
}

bool CanBeQuoted(std::string_view /*text*/) noexcept {
    return true;
}

std::string GetRestriction(std::string_view path) {
    return "chmod 600 " + QuoteForShell(path);
}

}  // namespace LearningApp
