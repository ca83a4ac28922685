#include "Kernel/LocalisedString.h"

#include "Kernel/Diagnostics.h"
#include "Kernel/FileStreams.h"
#include "Kernel/IoException.h"
#include "Kernel/NeverDestroyed.h"

#include "localisation/Catalogue.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>

namespace Kernel {

namespace {

constexpr std::uint64_t MaximumSize = std::uint64_t{16} << 20;

/// The catalogue in force; null if there is none.
struct Current {
    std::mutex mutex;
    std::shared_ptr<const Catalogue> catalogue;
};

Current& GetCurrent() {
    static NeverDestroyed<Current> current;
    return *current;
}

std::shared_ptr<const Catalogue> ReadCatalogue(const String& path) {
    const auto file = FileInStream::Open(path);
    const std::uint64_t size = file->GetSize();
    if (size > MaximumSize) {
        throw IoException("the catalogue is larger than any should be");
    }
    std::string content(size, '\0');
    content.resize(file->ReadFully(std::as_writable_bytes(std::span(content))));
    return std::make_shared<const Catalogue>(std::move(content));
}

}  // namespace

bool LocalisedString::SetCatalogue(const String& path) {
    std::shared_ptr<const Catalogue> catalogue;
    try {
        catalogue = path.empty() ? nullptr : ReadCatalogue(path);
    } catch (const std::exception& error) {
        Log::Write("The translations in %1 can't be used: %2\n", path, error.what());
        return false;
    }
    Current& current = GetCurrent();
    const std::lock_guard lock(current.mutex);
    current.catalogue.swap(catalogue);
    return true;
}

LocalisedString LocalisedString::CreateFakeFromString(String text) {
    LocalisedString result;
    result.m_text = std::move(text);
    result.m_isFake = true;
    return result;
}

String LocalisedString::Translate() const {
    if (m_isFake || m_text.empty()) {
        return m_text;
    }
    std::shared_ptr<const Catalogue> catalogue;
    {
        Current& current = GetCurrent();
        const std::lock_guard lock(current.mutex);
        catalogue = current.catalogue;
    }
    const std::string_view translation =
        catalogue ? catalogue->Find(m_context, m_text) : std::string_view();
    return translation.empty() ? m_text : String(translation);
}

}  // namespace Kernel
