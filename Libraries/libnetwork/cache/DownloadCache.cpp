#include "Network/DownloadCache.h"

#include "Kernel/AtomicFileOutStream.h"
#include "Kernel/FileSystem.h"
#include "Kernel/Format.h"
#include "Kernel/NeverDestroyed.h"
#include "Network/Digest.h"
#include "Network/Http.h"

#include "requests/Address.h"

#include <cstdint>
#include <future>
#include <map>
#include <mutex>
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

/// The downloads that are running, by the path of their files.
struct Downloads {
    std::mutex mutex;
    std::map<Kernel::String, std::shared_future<void>> running;
};

/// Calls `download`, unless another thread does so for the same path: then waits for that one,
/// whose outcome counts.
template <class Call>
void DownloadOnce(const Kernel::String& path, Call download) {
    static Kernel::NeverDestroyed<Downloads> downloads;
    std::promise<void> end;
    std::unique_lock lock(downloads->mutex);
    const auto [place, isFirst] = downloads->running.try_emplace(path);
    if (!isFirst) {
        const std::shared_future<void> other = place->second;
        lock.unlock();
        return other.get();
    }
    place->second = end.get_future().share();
    const std::shared_future<void> own = place->second;
    lock.unlock();
    try {
        download();
        end.set_value();
    } catch (...) {
        end.set_exception(std::current_exception());
    }
    lock.lock();
    downloads->running.erase(path);
    lock.unlock();
    own.get();
}

}  // namespace

DownloadCache::DownloadCache(Kernel::String folder) : m_folder(std::move(folder)) {}

DownloadCache& DownloadCache::Instance() {
    // Threads may download during exit.
    static Kernel::NeverDestroyed<DownloadCache> instance(
        Kernel::FileSystem::GetUserCacheFolder().value_or("./.cache") + "/orvantis/downloads");
    return *instance;
}

void DownloadCache::Invalidate(const Kernel::String& key) {
    Kernel::FileSystem::Delete(GetPath(key));
}

Kernel::String DownloadCache::DownloadSync(const ResourceIdentifier& resource) {
    Kernel::String path = GetPath(resource.key);
    Kernel::FileSystem::RefuseOtherThanFile(path);
    if (!Kernel::FileSystem::Exists(path)) {
        DownloadOnce(path, [&] {
            if (Kernel::FileSystem::Exists(path)) {
                return;  // another thread has just finished it
            }
            Kernel::FileSystem::CreateDirectoryRecursive(m_folder);
            Kernel::FileSystem::DeleteAbandonedFiles(m_folder);
            const auto file = Kernel::AtomicFileOutStream::Create(path);
            Download(resource.address, *file);
            file->Commit();
        });
    }
    return path;
}

/// Keys may contain any byte, so files are named by their digest.
Kernel::String DownloadCache::GetPath(const Kernel::String& key) const {
    return Kernel::Format("%1/%2", m_folder, ComputeSha256(key));
}

}  // namespace Network
