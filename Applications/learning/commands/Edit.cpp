#include "commands/ModelChoice.h"
#include "commands/PictureCall.h"
#include "commands/PictureCommands.h"
#include "commands/PictureJobs.h"
#include "files/Files.h"
#include "files/NewFiles.h"

namespace LearningApp {

namespace {

using Learning::ImageToImageModel;
using Learning::RemoteInference;

constexpr const char* EditJobLabel = "edit";

RemoteInference::Pictures OrNone(const Kernel::Counted<Raster::DynamicBitmap>& result) {
    return result ? RemoteInference::Pictures{result} : RemoteInference::Pictures();
}

}  // namespace

void Edit(const Host& host, const ServiceOptions& service, const EditOptions& options) {
    CheckNewPictures(options.output, 1, options.isForced, {options.photo});
    const auto photo = LoadForService(host, options.photo);
    const ServiceConnection connection(service);
    RemoteInference client = LoadModels(host, connection);
    const ImageToImageModel model =
        ChooseModel(client.GetImageToImageModels(), client.GetDefaultImageToImageModel(),
                    options.model, !connection.ShowsRequests());

    JobEntry entry;
    entry.operation = JobEntry::Operation::Edit;
    entry.output = MakeAbsolute(options.output);
    entry.model = std::string_view(model.modelKey);
    entry.photo = MakeAbsolute(options.photo);
    entry.width = photo->GetWidth();
    entry.height = photo->GetHeight();
    entry.alphaMode = options.alphaMode;
    JobNote note = JobNote::Prepare(connection, std::move(entry));
    Kernel::Counted<Raster::DynamicBitmap> result;
    note.SetResults([&] { return OrNone(result); }, options.isForced);
    const auto edit = [&](auto progress, void* context) {
        return client.InferImageToImage(model, photo, options.prompt, options.alphaMode, result,
                                        progress, context);
    };
    if (CallForPictures(host, connection, EditJobLabel, &note, edit)) {
        note.WriteResults(host, connection, {result}, options.isForced);
    }
}

void ResumeEdit(const Host& host, const ServiceConnection& connection, JobNote& note,
                bool isForced) {
    const JobEntry entry = note.GetEntry();
    const auto photo = ReloadPhoto(host, entry);
    RemoteInference client = LoadModels(host, connection);
    const ImageToImageModel model = FindModel(client.GetImageToImageModels(), entry.model);
    Kernel::Counted<Raster::DynamicBitmap> result;
    note.SetResults([&] { return OrNone(result); }, isForced);
    const auto resume = [&](auto progress, void* context) {
        return client.ResumeImageToImage(entry.job, model, photo, entry.alphaMode, result, progress,
                                         context);
    };
    if (CallForPictures(host, connection, EditJobLabel, &note, resume)) {
        note.WriteResults(host, connection, {result}, isForced);
    }
}

}  // namespace LearningApp
