#include "remote/catalogue/Catalogue.h"

#include "Kernel/Diagnostics.h"
#include "Kernel/FileStreams.h"
#include "Kernel/Json.h"
#include "Kernel/Utf.h"
#include "Network/DownloadCache.h"

#include "remote/addresses/ServiceAddresses.h"
#include "remote/catalogue/DefaultCatalogue.h"

#include <exception>
#include <optional>
#include <utility>

namespace Learning {

namespace {

using Kernel::Json::Value;

constexpr const char* CacheKey = "com.mirel.orvantis.remote_inference_config";
constexpr std::uint64_t MaximumCatalogueSize = std::uint64_t{16} << 20;

std::optional<Value> Download() {
    Network::DownloadCache& cache = Network::DownloadCache::Instance();
    cache.Invalidate(CacheKey);  // first, so that an old list is never taken for the present one
    const Kernel::String path = cache.DownloadSync({ConfigUrl, CacheKey});
    const auto file = Kernel::FileInStream::Open(path);
    // More is no list of models, and would take tens of times the memory.
    return file->GetSize() <= MaximumCatalogueSize ? Kernel::Json::Parse(*file) : std::nullopt;
}

}  // namespace

std::optional<Value> DownloadCatalogue() noexcept {
    try {
        try {
            return Download();
        } catch (const std::exception& error) {
            Kernel::Log::Write("[Remote inference] %1\n", Kernel::MakePrintable(error.what()));
        }
    } catch (...) {
        // Of any type; or there is no memory to tell of it.
    }
    return {};  // there is the list that is compiled in
}

Value MakeDefaultCatalogue() {
    return Kernel::Json::Parse(DefaultCatalogueJson).value();
}

}  // namespace Learning
