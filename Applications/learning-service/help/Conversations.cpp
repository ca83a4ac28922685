#include "help/Conversations.h"

#include "search/Words.h"

namespace Service {

Query Conversations::Ask(const std::string& session, std::string_view question) {
    constexpr std::size_t MaxWords = 64;
    constexpr std::size_t MaxName = 256;
    constexpr double Before = 0.3;
    const std::vector<std::string> words = FindWords(question, MaxWords);
    Query query;
    if (!session.empty() && session.size() <= MaxName) {
        for (const std::string& word : Exchange(session, words)) {
            query[word] = Before;
        }
    }
    for (const std::string& word : words) {
        query[word] = 1;
    }
    return query;
}

/// Remembers `words` and returns those of the question before. No words do not make it forgotten.
std::vector<std::string> Conversations::Exchange(const std::string& name,
                                                 const std::vector<std::string>& words) {
    constexpr std::size_t MaxSessions = 1000;
    const std::lock_guard lock(m_mutex);
    const auto known = m_byName.find(name);
    if (known == m_byName.end()) {
        m_byName[name] = m_sessions.insert(m_sessions.end(), {name, words});
        if (m_sessions.size() > MaxSessions) {
            m_byName.erase(m_sessions.front().name);
            m_sessions.pop_front();
        }
        return {};
    }
    m_sessions.splice(m_sessions.end(), m_sessions, known->second);
    std::vector<std::string> before = known->second->words;
    if (!words.empty()) {
        known->second->words = words;
    }
    return before;
}

}  // namespace Service
