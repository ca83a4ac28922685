// The user guide that is compiled in, and questions to it.

#pragma once

#include "search/TextIndex.h"

#include <string>
#include <string_view>
#include <vector>

namespace Service {

/// The text of docs/GUIDE.md.
extern const std::string_view GuideText;

/// A guide in Markdown whose sections begin with "## " and their title. A comment of HTML on a line
/// of its own has words by which its section is found, too. Threads: any may ask.
class Guide {
public:
    struct Section {
        std::string title;
        std::string body;  // a paragraph a line, with an empty line between two
    };

    explicit Guide(std::string_view text);

    /// The section that fits best; null if none does.
    const Section* Find(const Query& query) const;
    const std::vector<Section>& GetSections() const noexcept { return m_sections; }

private:
    void AddSection(std::string_view text);

    std::vector<Section> m_sections;
    TextIndex m_index;
};

}  // namespace Service
