// Hints that can be found again.

#pragma once

#include "search/TextIndex.h"

#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace Service {

/// Up to a thousand different hints; when there are more, the older half is forgotten.
class HintBook {
public:
    /// Adds `hint` unless it is there already.
    void Add(std::string hint);

    /// The hints that fit best, at most five, the best first.
    std::vector<std::string> Find(const Query& query) const;

private:
    void Index(std::string_view hint);

    std::deque<std::string> m_hints;
    TextIndex m_index;
};

}  // namespace Service
