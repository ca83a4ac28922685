#include "records/HintBook.h"

#include "search/Words.h"

#include <algorithm>

namespace Service {

void HintBook::Add(std::string hint) {
    constexpr std::size_t MaxCount = 1000;
    if (std::ranges::find(m_hints, hint) != m_hints.end()) {
        return;
    }
    Index(hint);
    m_hints.push_back(std::move(hint));
    if (m_hints.size() > MaxCount) {
        m_hints.erase(m_hints.begin(), m_hints.begin() + MaxCount / 2);
        m_index = {};
        for (const std::string& rest : m_hints) {
            Index(rest);
        }
    }
}

void HintBook::Index(std::string_view hint) {
    constexpr std::size_t MaxWords = 200;
    m_index.Add(FindWords(hint, MaxWords));
}

std::vector<std::string> HintBook::Find(const Query& query) const {
    constexpr std::size_t MaxFound = 5;
    std::vector<std::string> found;
    for (const TextIndex::Match& match : m_index.Find(query)) {
        if (found.size() < MaxFound) {
            found.push_back(m_hints[match.document]);
        }
    }
    return found;
}

}  // namespace Service
