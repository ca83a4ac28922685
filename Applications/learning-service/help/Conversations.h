// The questions before a question.

#pragma once

#include "search/TextIndex.h"

#include <list>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Service {

/// Remembers the last question of each session, of the last thousand of them. Threads: any.
class Conversations {
public:
    /// What `question` asks for; the words of the session's question before it count a little, so
    /// that "and for many?" has a meaning. An empty session, and one whose name has more than 256
    /// bytes, is not remembered.
    Query Ask(const std::string& session, std::string_view question);

private:
    struct Session {
        std::string name;
        std::vector<std::string> words;
    };
    std::vector<std::string> Exchange(const std::string& name,
                                      const std::vector<std::string>& words);

    std::mutex m_mutex;
    std::list<Session> m_sessions;  // the one that was silent longest comes first
    std::unordered_map<std::string, std::list<Session>::iterator> m_byName;
};

}  // namespace Service
