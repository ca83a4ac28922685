#include "commands/PhotoCommand.h"

#include "failures/Failure.h"

#include <future>
#include <new>
#include <utility>

namespace LearningApp {

namespace {

/// Whether the command has done `task`; if not, the reason is shown.
bool Try(const Host& host, const PhotoTask& task, const PhotoCommand& command) {
    try {
        host.ClearLog();
        command(host, task);
        return true;
    } catch (const Interrupted&) {
        throw;
    } catch (const NetworkUnavailable&) {  // nor for the photos to come
        throw;
    } catch (const ServiceRefusal&) {  // likewise
        throw;
    } catch (const std::bad_alloc&) {
        host.Complain(task.photo + ": there is not enough memory for this");
    } catch (const std::exception& exception) {
        const std::string reason = exception.what();
        const bool isNamed = reason.find(task.photo) != std::string::npos;
        host.Complain(isNamed ? reason : task.photo + ": " + reason);
    }
    return false;
}

}  // namespace

void RunOnPhotos(const Host& host, const PhotoOptions& options, const PhotoCommand& command) {
    const std::vector<PhotoTask> tasks = PlanPhotoTasks(options);
    if (!options.outputFolder.empty()) {
        CreateFolder(options.outputFolder);
    }
    if (tasks.size() == 1) {
        command(host, tasks.front());
        return;
    }
    std::size_t failed = 0;
    for (std::size_t i = 0; i < tasks.size(); ++i) {
        host.SetSubject(Kernel::Format("[%1/%2] %3", i + 1, tasks.size(), tasks[i].photo).c_str());
        failed += Try(host, tasks[i], command) ? 0 : 1;
    }
    if (failed > 0) {
        throw Failure("%1 of %2 photos failed", failed, tasks.size());
    }
    host.Say("all %1 photos are done", tasks.size());
}

PhotoAndNetwork Begin(const Host& host, const PhotoTask& task, ModelType type, PhotoUse use) {
    CheckPictureTarget(task.output);
    // Not the other way round: on a second thread opening takes half as long again, since that has
    // a second heap.
    auto loading = std::async(
        [&] { return host.Time(Phase::Decode, [&] { return LoadPhoto(task.photo, use); }); });
    Network network = host.GetNetwork(type);
    auto photo = loading.get();
    PhotoColours colours = FindColours(photo->GetProfile()).value_or(PhotoColours());
    return {std::move(photo), std::move(colours), std::move(network)};
}

void Finish(const Host& host, const PhotoTask& task, const Raster::DynamicBitmap& result,
            std::string_view more) {
    host.Time(Phase::Encode, [&] { SavePicture(result, task.output); });
    host.SayWritten(task.output, more);
}

}  // namespace LearningApp
