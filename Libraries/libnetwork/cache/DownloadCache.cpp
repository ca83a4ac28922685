#include "Network/DownloadCache.h"

#include "Kernel/AtomicFileOutStream.h"
#include "Kernel/FileSystem.h"
#include "Kernel/Format.h"
#include "Kernel/IoException.h"
#include "Network/Http.h"

#include "cache/Digest.h"
#include "requests/Address.h"

#include <cstdint>
#include <utility>

namespace Network {

namespace {

constexpr std::uint64_t MaximumSize = std::uint64_t{256} << 20;

void Download(const Kernel::String& address, Kernel::OutStream& target) {
    Http::Request request;
    request.address = address;
    request.sink = Kernel::MakeCounted<StreamDataSink>(
        Kernel::Counted<Kernel::OutStream>::Share(&target), MaximumSize);
    const Http::Response response = Http::DoRequest(request, true);
    if (response.status != 200) {
        throw Http::Exception(Kernel::Format("%1: the server answers with status %2",
                                             DescribeAddress(address), response.status)
                                  .c_str());
    }
}

}  // namespace

DownloadCache::DownloadCache(Kernel::String folder) : m_folder(std::move(folder)) {}

DownloadCache& DownloadCache::Instance() {
    static DownloadCache instance(Kernel::FileSystem::GetUserCacheFolder().value_or("./.cache") +
                                  "/orvantis/downloads");
    return instance;
}

void DownloadCache::Invalidate(const Kernel::String& key) {
    Kernel::FileSystem::Delete(GetPath(key));
}

Kernel::String DownloadCache::DownloadSync(const ResourceIdentifier& resource) {
    Kernel::String path = GetPath(resource.key);
    if (!Kernel::FileSystem::Exists(path)) {
        Kernel::FileSystem::CreateDirectoryRecursive(m_folder);
        Kernel::FileSystem::DeleteAbandonedFiles(m_folder);
        const auto file = Kernel::AtomicFileOutStream::Create(path);
        Download(resource.address, *file);
        file->Commit();
    }
    return path;
}

/// Keys may contain any byte, so files are named by their digest.
Kernel::String DownloadCache::GetPath(const Kernel::String& key) const {
    return Kernel::Format("%1/%2", m_folder, ComputeSha256(key));
}

}  // namespace Network
