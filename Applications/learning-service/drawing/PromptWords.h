// The words of a prompt.

#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>

namespace Service {

/// What a prompt names. Forms of a word count as the word.
class PromptWords {
public:
    explicit PromptWords(std::string_view prompt);

    /// Whether it has any of the words in `list`, which have blanks between them.
    bool HasAny(std::string_view list) const;

private:
    std::set<std::string, std::less<>> m_words;
};

/// A number that depends on each letter of `text`.
std::uint64_t HashText(std::string_view text);

}  // namespace Service
