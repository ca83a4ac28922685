#include "Kernel/Diagnostics.h"
#include "Kernel/FileStreams.h"
#include "Kernel/FileSystem.h"
#include "Kernel/Semaphore.h"
#include "Learning/ModelCache.h"
#include "Network/Http.h"

#include "modelcache/PackageInstaller.h"

#include <atomic>
#include <memory>
#include <utility>

namespace Learning {

namespace {

/// What the caller and the transfer's thread share: either may go on after the other has ended.
struct Download {
    Download(ModelCache& ownCache, ModelCache::ModelType ownType, Kernel::String path)
        : cache(ownCache), type(ownType), packagePath(std::move(path)) {}

    ModelCache& cache;
    const ModelCache::ModelType type;
    const Kernel::String packagePath;
    Kernel::Semaphore ended;
    std::atomic<bool> isLoaded = false;
};

/// Unpacks the package and loads its model. True if there is a model of that type in the end.
bool InstallAndLoad(const Download& download) {
    try {
        InstallPackage(download.packagePath, download.cache.GetModelCacheFolder());
    } catch (...) {
        Kernel::FileSystem::Delete(download.packagePath);
        throw;
    }
    Kernel::FileSystem::Delete(download.packagePath);
    return static_cast<bool>(download.cache.GetModel(download.type));
}

void OnSuccess(Download& download) noexcept {
    try {
        download.isLoaded = InstallAndLoad(download);
    } catch (const std::exception& error) {
        Kernel::Log::Write("A model package can't be installed: %1\n", error.what());
    } catch (...) {  // a provider may throw anything out of GetModel
        Kernel::Log::Write("A model package can't be installed.\n");
    }
    download.ended.Signal();
}

Network::Http::Request MakeRequest(const Kernel::String& address,
                                   Kernel::Counted<Kernel::OutStream> target) {
    Network::Http::Request request;
    request.address = address;
    request.body = Kernel::MakeCounted<Network::NullDataSource>();
    request.sink = Kernel::MakeCounted<Network::StreamDataSink>(std::move(target));
    return request;
}

Network::Http::ProgressHandler WrapProgress(ModelCache::DownloadProgress progress,
                                            ModelCache::ModelType type) {
    if (!progress) {
        return {};
    }
    return [progress = std::move(progress), type](Network::Http::ProgressInformation information) {
        progress(information, type);
    };
}

}  // namespace

bool ModelCache::DownloadModel(ModelType type, DownloadProgress progress) {
    try {
        Kernel::FileSystem::DeleteAbandonedFiles(Kernel::FileSystem::GetTemporaryFolder());
        Kernel::FileSystem::DeleteAbandonedFiles(m_modelCacheFolder, MaximumFolderDepth);

        const Kernel::String address = m_modelURLRoot + ModelTypeToPackageName(type) + ".zip";
        const Kernel::String path = Kernel::FileSystem::GetUniqueTemporaryFilename("%1.tmp");
        const auto download = std::make_shared<Download>(*this, type, path);
        Network::Http::DoRequest(
            MakeRequest(address, Kernel::FileOutStream::Create(path)),
            [download](const auto&, const auto&) { OnSuccess(*download); },
            // Deliberate: what was received of the package is kept for inspection.
            [download](const auto&, const auto&) { download->ended.Signal(); }, {}, {},
            WrapProgress(std::move(progress), type));
        download->ended.Wait();
        return download->isLoaded;
    } catch (const std::exception& error) {
        Kernel::Log::Write("A model package can't be downloaded: %1\n", error.what());
        return false;
    }
}

}  // namespace Learning
