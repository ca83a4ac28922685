#include "service/StyleWords.h"

#include "Learning/StyleNames.h"

#include "failures/Failure.h"
#include "failures/Suggestion.h"

#include <algorithm>
#include <vector>

namespace LearningApp {

namespace {

/// The form that needs no quotation marks in a shell: "professional-colour-photography".
std::string ToWord(std::string_view name) {
    std::string word;
    for (const char c : name) {
        const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        const bool isDigit = c >= '0' && c <= '9';
        word += isLetter ? static_cast<char>(c | 0x20) : isDigit ? c : '-';
    }
    constexpr std::string_view American = "color";
    if (const std::size_t at = word.find(American); at != std::string::npos) {
        word.replace(at, American.size(), "colour");
    }
    return word;
}

std::vector<std::string> GetWords() {
    std::vector<std::string> words;
    for (const Kernel::String& name : Learning::GetStyleNames()) {
        words.push_back(ToWord(name));
    }
    return words;
}

}  // namespace

Learning::GenerationStyle FindStyle(std::string_view name) {
    const std::vector<std::string> words = GetWords();
    const auto found = std::ranges::find(words, ToWord(name));
    if (found == words.end()) {
        throw WrongUse("there is no style %1%2\nThe styles are %3.", name, Suggest(name, words),
                       ListStyles());
    }
    return Learning::GenerationStyle{static_cast<std::int32_t>(found - words.begin())};
}

std::string ListStyles() {
    std::string list;
    for (const std::string& word : GetWords()) {
        list += (list.empty() ? "" : ", ") + word;
    }
    return list;
}

}  // namespace LearningApp
