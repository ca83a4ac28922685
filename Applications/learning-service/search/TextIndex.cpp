#include "search/TextIndex.h"

#include <algorithm>
#include <cmath>

namespace Service {

void TextIndex::Add(const std::vector<std::string>& words) {
    const std::size_t document = m_lengths.size();
    for (const std::string& word : words) {
        std::vector<Place>& places = m_places[word];
        if (places.empty() || places.back().document != document) {
            places.push_back({document, 0});
        }
        places.back().count += 1;
    }
    m_lengths.push_back(static_cast<double>(words.size()));
    m_totalLength += m_lengths.back();
}

/// The weight of a word that so many documents have.
double TextIndex::GetRarity(std::size_t documents) const {
    constexpr std::size_t Enough = 20;  // documents, to tell which words are rare
    const auto all = static_cast<double>(std::max(m_lengths.size(), Enough));
    const auto having = static_cast<double>(documents);
    return std::log(1 + (all - having + 0.5) / (having + 0.5));
}

double TextIndex::GetScore(const Place& place) const {
    constexpr double Saturation = 1.2;  // k1, and below b, as is usual
    constexpr double LengthShare = 0.75;
    const double average = m_totalLength / static_cast<double>(m_lengths.size());
    const double length = m_lengths[place.document] / average;
    return place.count * (Saturation + 1) /
           (place.count + Saturation * (1 - LengthShare + LengthShare * length));
}

std::vector<TextIndex::Match> TextIndex::Find(const Query& query) const {
    constexpr double LeastPart = 0.3;
    struct Found {
        double score = 0;
        double part = 0;
    };
    std::map<std::size_t, Found> found;
    double whole = 0;
    for (const auto& [word, weight] : query) {
        const auto places = m_places.find(word);
        const std::size_t count = places == m_places.end() ? 0 : places->second.size();
        const double value = weight * GetRarity(count);
        whole += value;
        for (std::size_t i = 0; i < count; ++i) {
            const Place& place = places->second[i];
            found[place.document].score += value * GetScore(place);
            found[place.document].part += value;
        }
    }
    std::vector<Match> matches;
    for (const auto& [document, values] : found) {
        if (values.part >= LeastPart * whole) {
            // To have more of what is asked for counts more than to have it often.
            matches.push_back({document, values.score * values.part / whole});
        }
    }
    std::ranges::stable_sort(matches, std::ranges::greater(), &Match::score);
    return matches;
}

}  // namespace Service
