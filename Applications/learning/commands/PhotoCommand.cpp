#include "commands/PhotoCommand.h"

#include "files/Files.h"

#include <future>
#include <utility>

namespace LearningApp {

PhotoAndNetwork Begin(const Host& host, const PhotoOptions& options, ModelType type) {
    CheckPictureTarget(options.output);
    // Not the other way round: on a second thread opening takes half as long again, since that has
    // a second heap.
    auto photo = std::async(
        [&] { return host.Time(Phase::Decode, [&] { return LoadPhoto(options.photo); }); });
    Network network = host.GetNetwork(type);
    return {photo.get(), std::move(network)};
}

void Save(const Host& host, const PhotoOptions& options, const Raster::DynamicBitmap& result) {
    host.Time(Phase::Encode, [&] { SavePicture(result, options.output); });
}

}  // namespace LearningApp
