#include "processors/ConfigCache.h"

#include "Kernel/CriticalSection.h"
#include "Kernel/FileStreams.h"
#include "Kernel/NeverDestroyed.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace OCIO {

namespace {

namespace Engine = OCIO_NAMESPACE;

constexpr std::size_t MaximumTextSize = std::size_t{64} << 20;

class ConfigCache {
public:
    static ConfigCache& Get() {
        static Kernel::NeverDestroyed<ConfigCache> cache;
        return *cache;
    }

    /// The configuration of that text, which `parse` makes if it is not there. What it refers to is
    /// relative to `folder`.
    template <class Parse>
    Engine::ConstConfigRcPtr Find(const std::string& folder, const std::string& text,
                                  const Parse& parse) {
        const Kernel::ScopedLock lock(m_section);
        const auto found = std::ranges::find_if(m_entries, [&](const Entry& entry) {
            return entry.folder == folder && entry.text == text;
        });
        if (found != m_entries.end()) {
            std::rotate(m_entries.begin(), found, found + 1);
        } else {
            m_entries.insert(m_entries.begin(), {folder, text, parse()});
            m_entries.resize(std::min(m_entries.size(), Capacity));
        }
        return m_entries.front().config;
    }

private:
    static constexpr std::size_t Capacity = 4;

    struct Entry {
        std::string folder;  // empty for one that is not in a file
        std::string text;
        Engine::ConstConfigRcPtr config;
    };

    Kernel::CriticalSection m_section;
    std::vector<Entry> m_entries;  // the latest first
};

std::string ReadText(const Kernel::String& path) {
    const auto file = Kernel::FileInStream::Open(path);
    std::string text;
    std::array<char, 65'536> piece;
    while (const std::size_t size = file->Read(std::as_writable_bytes(std::span(piece)))) {
        text.append(piece.data(), size);
        if (text.size() > MaximumTextSize) {
            throw std::length_error("it is too large");
        }
    }
    return text;
}

/// The folder that a file is in, absolute. Links are not followed, as OpenColorIO follows none.
std::string GetFolder(const Kernel::String& path) {
    const std::filesystem::path file(std::u8string(path.begin(), path.end()));
    const auto folder = std::filesystem::absolute(file).lexically_normal().parent_path();
    const std::u8string text = folder.generic_u8string();
    return {text.begin(), text.end()};
}

Engine::ConstConfigRcPtr Parse(const std::string& text) {
    std::istringstream stream(text);
    return Engine::Config::CreateFromStream(stream);
}

}  // namespace

Engine::ConstConfigRcPtr FindConfigOfFile(const Kernel::String& path) {
    const std::string text = ReadText(path);
    const std::string folder = GetFolder(path);
    return ConfigCache::Get().Find(folder, text, [&] {
        // As OpenColorIO reads a file, but from the text that is the key.
        const Engine::ConfigRcPtr config = Parse(text)->createEditableCopy();
        config->setWorkingDir(folder.c_str());
        return Engine::ConstConfigRcPtr(config);
    });
}

Engine::ConstConfigRcPtr FindConfigOfText(const Kernel::String& text) {
    const std::string key(text);
    return ConfigCache::Get().Find({}, key, [&key] { return Parse(key); });
}

}  // namespace OCIO
