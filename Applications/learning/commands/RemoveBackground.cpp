#include "commands/Commands.h"
#include "commands/PhotoCommand.h"
#include "commands/PictureCall.h"
#include "commands/PictureCommands.h"
#include "files/Files.h"

namespace LearningApp {

namespace {

/// Null if requests are only shown.
Kernel::Counted<Raster::DynamicBitmap> CutOut(const Host& host, const ServiceConnection& connection,
                                              const std::string& path) {
    const auto photo = LoadForService(host, path);
    Kernel::Counted<Raster::DynamicBitmap> result;
    const auto remove = [&](auto progress, void* context) {
        return connection.GetClient().InferImageRemoveBG(photo, {}, result, progress, context);
    };
    return CallForPictures(host, connection, "remove-background", nullptr, remove) ? result
                                                                                   : nullptr;
}

}  // namespace

void RemoveBackground(const Host& host, const ServiceOptions& service, const PhotoOptions& photos) {
    const ServiceConnection connection(service);
    if (connection.ShowsRequests()) {  // and nothing is written, not even a folder
        for (const PhotoTask& task : PlanPhotoTasks(photos)) {
            CutOut(host, connection, task.photo);
        }
        return;
    }
    RunOnPhotos(host, photos, [&](const Host&, const PhotoTask& task) {
        CheckPictureTarget(task.output);
        WriteResult(host, *CutOut(host, connection, task.photo), task.output, photos.mayReplace);
    });
}

}  // namespace LearningApp
