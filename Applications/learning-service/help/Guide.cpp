#include "help/Guide.h"

#include "search/Words.h"

#include <algorithm>

namespace Service {

namespace {

std::string_view TakeGuideLine(std::string_view& text) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    return line;
}

/// Puts `line` behind the paragraph that `body` ends with, or begins the next.
void AddGuideLine(std::string& body, std::string_view line, bool isNewParagraph) {
    if (!body.empty()) {
        body += isNewParagraph ? "\n\n" : " ";
    }
    std::ranges::copy_if(line, std::back_inserter(body), [](char c) { return c != '`'; });
}

}  // namespace

Guide::Guide(std::string_view text) {
    const std::string start = "\n## ";
    for (std::size_t at = text.find(start); at != std::string_view::npos;) {
        const std::size_t end = text.find(start, at + 1);
        AddSection(text.substr(at + start.size(), end - at - start.size()));
        at = end;
    }
}

void Guide::AddSection(std::string_view text) {
    constexpr int TitleWeight = 3;
    constexpr std::string_view Comment = "<!--";
    Section section;
    section.title = TakeGuideLine(text);
    std::string indexed;
    for (int i = 0; i < TitleWeight; ++i) {
        indexed += section.title + '\n';
    }
    bool isNewParagraph = false;
    while (!text.empty()) {
        const std::string_view line = TakeGuideLine(text);
        indexed += std::string(line) + '\n';
        if (line.empty()) {
            isNewParagraph = true;
        } else if (!line.starts_with(Comment)) {
            AddGuideLine(section.body, line, isNewParagraph);
            isNewParagraph = false;
        }
    }
    m_index.Add(FindWords(indexed, indexed.size()));
    m_sections.push_back(std::move(section));
}

const Guide::Section* Guide::Find(const Query& query) const {
    const std::vector<TextIndex::Match> matches = m_index.Find(query);
    return matches.empty() ? nullptr : &m_sections[matches.front().document];
}

}  // namespace Service
