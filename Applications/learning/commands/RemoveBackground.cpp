#include "commands/Commands.h"
#include "commands/PhotoCommand.h"
#include "commands/PictureCall.h"
#include "commands/PictureCommands.h"
#include "files/Files.h"

namespace LearningApp {

void RemoveBackground(const Host& host, const ServiceOptions& service, const PhotoOptions& photos) {
    const ServiceConnection connection(service);
    RunOnPhotos(host, photos, [&](const Host&, const PhotoTask& task) {
        CheckPictureTarget(task.output);
        const auto photo = LoadForService(host, task.photo);
        Kernel::Counted<Raster::DynamicBitmap> result;
        CallForPictures(host, connection, "remove-background", nullptr,
                        [&](auto progress, void* context) {
                            return connection.GetClient().InferImageRemoveBG(photo, {}, result,
                                                                             progress, context);
                        });
        WriteResult(host, *result, task.output, photos.mayReplace);
    });
}

}  // namespace LearningApp
