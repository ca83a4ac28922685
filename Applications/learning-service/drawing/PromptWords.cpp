#include "drawing/PromptWords.h"

#include "Kernel/HashAccumulator.h"

#include "search/Words.h"

#include <algorithm>
#include <span>

namespace Service {

PromptWords::PromptWords(std::string_view prompt) {
    constexpr std::size_t MaxWords = 200;
    for (std::string& word : FindWords(prompt, MaxWords)) {
        m_words.insert(std::move(word));
    }
}

bool PromptWords::HasAny(std::string_view list) const {
    constexpr std::size_t MaxWords = 100;
    return std::ranges::any_of(FindWords(list, MaxWords),
                               [this](const std::string& word) { return m_words.contains(word); });
}

std::uint64_t HashText(std::string_view text) {
    Kernel::HashAccumulator hash;
    hash.Add(std::as_bytes(std::span(text)));
    return hash.GetHash();
}

}  // namespace Service
