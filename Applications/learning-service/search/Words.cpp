#include "search/Words.h"

#include <algorithm>
#include <array>
#include <set>

namespace Service {

namespace {

const std::set<std::string, std::less<>>& GetStopWords() {
    static const std::set<std::string, std::less<>> words{
        "about", "all",    "am",    "an",    "and",    "any",  "are",  "as",    "at",    "be",
        "been",  "but",    "by",    "can",   "could",  "did",  "do",   "does",  "doing", "done",
        "don",   "for",    "from",  "get",   "had",    "has",  "have", "here",  "how",   "if",
        "in",    "into",   "is",    "it",    "its",    "just", "let",  "like",  "ll",    "may",
        "me",    "might",  "my",    "need",  "no",     "not",  "of",   "on",    "or",    "our",
        "out",   "please", "re",    "shall", "should", "so",   "some", "tell",  "than",  "that",
        "the",   "them",   "then",  "there", "these",  "they", "this", "those", "to",    "too",
        "us",    "use",    "using", "ve",    "very",   "want", "was",  "way",   "we",    "were",
        "what",  "when",   "where", "which", "who",    "why",  "will", "with",  "would", "you",
        "your"};
    return words;
}

struct Ending {
    std::string_view ending;
    std::string_view replacement;
    std::size_t least;  // bytes that have to be left of the word
};

/// Replaces the first of `endings` that fits.
template <std::size_t Count>
bool ReplaceEnding(std::string& word, const std::array<Ending, Count>& endings) {
    for (const auto& [ending, replacement, least] : endings) {
        if (word.ends_with(ending) && word.size() >= ending.size() + least) {
            word.replace(word.size() - ending.size(), ending.size(), replacement);
            return true;
        }
    }
    return false;
}

/// "cut" for "cutt", as is left of "cutting"; but not of "ss", as in "process".
void DropDoubledLetter(std::string& word) {
    constexpr std::string_view Doubled = "bdgmnprt";
    const std::size_t size = word.size();
    if (size > 3 && word[size - 1] == word[size - 2] && Doubled.find(word.back()) != Doubled.npos) {
        word.pop_back();
    }
}

/// A light stemmer: it need not find a word that exists, but the same one for all forms of a word.
std::string Stem(std::string word) {
    static constexpr std::array<Ending, 5> Plurals{
        {{"sses", "ss", 2}, {"ies", "y", 2}, {"ss", "ss", 1}, {"us", "us", 1}, {"s", "", 3}}};
    static constexpr std::array<Ending, 8> Endings{{{"isation", "is", 2},
                                                    {"ization", "is", 2},
                                                    {"tation", "t", 3},
                                                    {"ion", "", 4},
                                                    {"ment", "", 4},
                                                    {"ing", "", 3},
                                                    {"ed", "", 3},
                                                    {"ly", "", 4}}};
    static constexpr std::array<Ending, 3> Spellings{
        {{"ize", "ise", 3}, {"iz", "is", 3}, {"yze", "yse", 2}}};
    static constexpr std::array<Ending, 1> Silent{{{"e", "", 3}}};
    ReplaceEnding(word, Plurals);
    if (ReplaceEnding(word, Endings)) {
        DropDoubledLetter(word);
    }
    ReplaceEnding(word, Spellings);
    ReplaceEnding(word, Silent);
    if (const std::size_t at = word.find("our"); at != std::string::npos && at > 0) {
        word.erase(at + 1, 1);  // "color" for "colour"
    }
    return word;
}

/// One word for those that mean the same to people who ask about pictures.
std::string Unite(const std::string& word) {
    static const std::set<std::string, std::less<>> pictures{"photograph", "pictur", "imag",
                                                             "snapshot", "pic"};
    if (pictures.contains(word)) {
        return "photo";
    }
    return word == "gray" ? "grey" : word;
}

bool IsLetter(char c) {
    const auto code = static_cast<unsigned char>(c);
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           code >= 0x80;
}

char ToSmall(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

std::vector<std::string> FindWords(std::string_view text, std::size_t maxCount) {
    constexpr std::size_t MaxLength = 40;  // of a word: what is longer is none
    std::vector<std::string> words;
    for (const char* at = text.data(); words.size() < maxCount;) {
        const char* const end = text.data() + text.size();
        const char* const first = std::find_if(at, end, IsLetter);
        at = std::find_if_not(first, end, IsLetter);
        if (first == end) {
            break;
        }
        std::string word(first, at);
        std::ranges::transform(word, word.begin(), ToSmall);
        if (word.size() > 1 && word.size() <= MaxLength && !GetStopWords().contains(word)) {
            words.push_back(Unite(Stem(std::move(word))));
        }
    }
    return words;
}

}  // namespace Service
