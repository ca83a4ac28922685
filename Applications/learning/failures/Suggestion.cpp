#include "failures/Suggestion.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <utility>

namespace LearningApp {

namespace {

std::string ToLower(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(text, lower.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

/// How many letters have to be added, removed, replaced or exchanged with the next one to make one
/// word of the other (optimal string alignment).
std::size_t CountEdits(std::string_view left, std::string_view right) {
    std::vector<std::size_t> beforeLast;
    std::vector<std::size_t> last;
    std::vector<std::size_t> current(right.size() + 1);
    std::iota(current.begin(), current.end(), std::size_t{0});
    for (std::size_t i = 1; i <= left.size(); ++i) {
        beforeLast = std::exchange(last, current);
        current[0] = i;
        for (std::size_t j = 1; j <= right.size(); ++j) {
            const bool isSame = left[i - 1] == right[j - 1];
            current[j] =
                std::min({last[j] + 1, current[j - 1] + 1, last[j - 1] + (isSame ? 0 : 1)});
            if (i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1]) {
                current[j] = std::min(current[j], beforeLast[j - 2] + 1);
            }
        }
    }
    return current.back();
}

}  // namespace

std::string Suggest(std::string_view word, const std::vector<std::string>& words) {
    constexpr std::size_t LongestWord = 64;  // nobody misspells a longer one
    const std::string meant = ToLower(word.substr(0, LongestWord));
    // Every third letter may be wrong. The beginning of a word is near it, too.
    std::size_t least = meant.size() / 3 + 1;
    const std::string* nearest = nullptr;
    for (const std::string& candidate : words) {
        const std::string lower = ToLower(candidate);
        const bool isBeginning = meant.size() > 2 && lower.starts_with(meant);
        const std::size_t distance = isBeginning ? 1 : CountEdits(meant, lower);
        if (distance < least) {
            least = distance;
            nearest = &candidate;
        }
    }
    return nearest != nullptr ? "; did you mean " + *nearest + "?" : "";
}

}  // namespace LearningApp
