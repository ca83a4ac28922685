// Compiled translations: the MO files of GNU gettext ("The Format of GNU MO Files" in its manual).

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace Kernel {

/// The translations of a file, by context and source text.
class Catalogue {
public:
    /// Reads the content of a file; throws IoException if that is no catalogue in UTF-8 or damaged.
    explicit Catalogue(std::string content);
    Catalogue(const Catalogue&) = delete;
    Catalogue& operator=(const Catalogue&) = delete;

    /// The translation of `text`, the first one if it has plural forms; empty if there is none.
    std::string_view Find(std::string_view context, std::string_view text) const;

private:
    std::uint32_t GetNumber(std::uint64_t offset) const;
    std::string_view GetText(std::uint64_t entry);

    std::string m_content;
    bool m_isBigEndian = false;
    std::uint64_t m_bytesLeft;                                    // for texts, which do not overlap
    std::map<std::string_view, std::string_view> m_translations;  // parts of m_content
};

}  // namespace Kernel
