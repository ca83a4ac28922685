#include "localisation/Catalogue.h"

#include "Kernel/IoException.h"
#include "Kernel/Utf.h"

#include <algorithm>
#include <utility>

namespace Kernel {

namespace {

constexpr std::uint32_t Magic = 0x950412DE;
constexpr std::uint32_t SwappedMagic = 0xDE120495;
constexpr std::uint64_t EntrySize = 8;  // of a table: the length of a text and its offset
constexpr char ContextEnd = '\4';       // between the context and the text of a key

/// What stands before the first zero byte: after it come plural forms.
std::string_view GetFirstForm(std::string_view text) {
    return text.substr(0, text.find('\0'));
}

/// Checks what the entry with the empty key says: lines as those of a mail's head.
void CheckHeader(std::string_view header) {
    constexpr std::string_view Label = "charset=";
    const std::size_t found = header.find(Label);
    if (found == std::string_view::npos) {
        return;
    }
    std::string charset(header.substr(found + Label.size()));
    charset.resize(std::min(charset.find_first_of(" ;\r\n"), charset.size()));
    std::ranges::transform(charset, charset.begin(), [](char c) {
        return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    if (charset != "UTF-8") {
        throw IoException("the catalogue is not in UTF-8");
    }
}

}  // namespace

Catalogue::Catalogue(std::string content)
    : m_content(std::move(content)), m_bytesLeft(m_content.size()) {
    m_isBigEndian = GetNumber(0) == SwappedMagic;
    if (GetNumber(0) != Magic || GetNumber(4) >> 16 > 1) {
        throw IoException("this is no catalogue of translations, or one of an unknown version");
    }
    const std::uint64_t count = GetNumber(8);
    const std::uint64_t keys = GetNumber(12);
    const std::uint64_t translations = GetNumber(16);
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::string_view key = GetText(keys + i * EntrySize);
        const std::string_view translation = GetText(translations + i * EntrySize);
        if (key.empty()) {
            CheckHeader(translation);
        } else {
            m_translations.try_emplace(GetFirstForm(key), GetFirstForm(translation));
        }
    }
}

std::string_view Catalogue::Find(std::string_view context, std::string_view text) const {
    std::string key(context);
    if (!context.empty()) {
        key += ContextEnd;
    }
    const auto found = m_translations.find(key.append(text));
    return found != m_translations.end() ? found->second : std::string_view();
}

std::uint32_t Catalogue::GetNumber(std::uint64_t offset) const {
    if (offset + 4 > m_content.size()) {
        throw IoException("the catalogue is cut off");
    }
    std::uint32_t number = 0;
    for (std::uint64_t i = 0; i < 4; ++i) {
        const auto byte = static_cast<std::uint8_t>(m_content[offset + i]);
        number |= std::uint32_t{byte} << 8 * (m_isBigEndian ? 3 - i : i);
    }
    return number;
}

/// The text that the entry of a table at `entry` tells.
std::string_view Catalogue::GetText(std::uint64_t entry) {
    const std::uint64_t length = GetNumber(entry);
    const std::uint64_t offset = GetNumber(entry + 4);
    if (offset + length >= m_content.size() || length >= m_bytesLeft ||
        m_content[offset + length] != '\0') {
        throw IoException("the catalogue is damaged");
    }
    m_bytesLeft -= length;
    const std::string_view text(m_content.data() + offset, length);
    if (!IsValidUtf8(text)) {
        throw IoException("the catalogue is not in UTF-8");
    }
    return text;
}

}  // namespace Kernel
