// Finds texts by the words of a question.

#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

namespace Service {

/// What is asked for: words of FindWords(), and what each of them weighs.
using Query = std::map<std::string, double>;

/// Ranks documents by Okapi BM25 (Robertson and Zaragoza, "The Probabilistic Relevance Framework",
/// 2009). Threads: any may search while none adds.
class TextIndex {
public:
    struct Match {
        std::size_t document;
        double score;
    };

    /// Adds a document of these words, with the number of documents before it as its own.
    void Add(const std::vector<std::string>& words);

    std::size_t GetSize() const noexcept { return m_lengths.size(); }

    /// Documents that have a good part of what is asked for, best first. A word that no document
    /// has counts as a part that is missing.
    std::vector<Match> Find(const Query& query) const;

private:
    struct Place {
        std::size_t document;
        double count;
    };
    double GetRarity(std::size_t documents) const;
    double GetScore(const Place& place) const;

    std::unordered_map<std::string, std::vector<Place>> m_places;  // by word
    std::vector<double> m_lengths;                                 // of documents, in words
    double m_totalLength = 0;
};

}  // namespace Service
