#include "Raster/Compositing.h"

#include "commands/ObjectDocument.h"
#include "commands/PictureCall.h"
#include "commands/PictureCommands.h"
#include "commands/PictureJobs.h"
#include "failures/Failure.h"
#include "files/Files.h"
#include "files/NewFiles.h"

namespace LearningApp {

namespace {

using Learning::RemoteInference;
using Raster::AffineTransform;
using Raster::DynamicBitmap;

constexpr const char* ReplaceJobLabel = "replace-object";

/// Throws Failure for a picture that is no cut-out of `photo`.
Kernel::Counted<DynamicBitmap> LoadObject(const Host& host, const std::string& path,
                                          const DynamicBitmap& photo) {
    const auto object = LoadForService(host, path);
    if (object->GetBounds() != photo.GetBounds()) {
        throw Failure("the cut-out %1 has %2 x %3 pixels, and the photo %4 x %5: they must agree",
                      path, object->GetWidth(), object->GetHeight(), photo.GetWidth(),
                      photo.GetHeight());
    }
    if (object->GetAlphaBoundingBox().IsEmpty()) {
        throw Failure("nothing is visible of the cut-out %1", path);
    }
    if (object->GetInverseAlphaBoundingBox().IsEmpty()) {
        throw Failure("%1 is no cut-out: nothing of it is transparent (see learning help segment)",
                      path);
    }
    auto picture = Kernel::MakeCounted<DynamicBitmap>(photo.GetWidth(), photo.GetHeight());
    picture->SetProfile(object->GetProfile());
    Raster::Convert(*picture, *object);
    return picture;
}

RemoteInference::Pictures InsertAll(const ObjectDocument& document,
                                    const RemoteInference::Pictures& variants,
                                    const AffineTransform::Params& placement) {
    RemoteInference::Pictures results;
    for (const auto& variant : variants) {
        results.push_back(document.Insert(*variant, placement));
    }
    return results;
}

}  // namespace

void ReplaceObject(const Host& host, const ServiceOptions& service, const ReplaceOptions& options) {
    if (options.isPrepared && options.strength < 1) {
        throw WrongUse("--prepare is for a --strength of 1: else the object shows through");
    }
    CheckNewPictures(options.output, options.count, options.isForced,
                     {options.photo, options.object});
    const auto photo = LoadForService(host, options.photo);
    const auto object = LoadObject(host, options.object, *photo);
    const ServiceConnection connection(service);

    JobEntry entry;
    entry.operation = JobEntry::Operation::ReplaceObject;
    entry.output = MakeAbsolute(options.output);
    entry.count = options.count;
    entry.photo = MakeAbsolute(options.photo);
    entry.object = MakeAbsolute(options.object);
    entry.width = photo->GetWidth();
    entry.height = photo->GetHeight();
    entry.isExpanded = options.isExpanded;
    JobNote note = JobNote::Prepare(connection, std::move(entry));
    const ObjectDocument document(photo, object, options.isExpanded);
    RemoteInference::Pictures variants;
    AffineTransform::Params placement = document.GetPlacement();
    note.SetResults([&] { return InsertAll(document, variants, placement); }, options.isForced);
    const auto replace = [&](auto progress, void* context) {
        return connection.GetClient().InferImageObjectReplacement(
            document, object, {}, object->GetProfile(), options.prompt, options.strength,
            options.count, options.isPrepared, variants, placement, progress, context);
    };
    if (CallForPictures(host, connection, ReplaceJobLabel, &note, replace)) {
        note.WriteResults(host, connection, InsertAll(document, variants, placement),
                          options.isForced);
    }
}

void ResumeReplaceObject(const Host& host, const ServiceConnection& connection, JobNote& note,
                         bool isForced) {
    const JobEntry entry = note.GetEntry();
    const auto photo = ReloadPhoto(host, entry);
    const auto object = LoadObject(host, entry.object, *photo);
    const ObjectDocument document(photo, object, entry.isExpanded);
    RemoteInference::Pictures variants;
    AffineTransform::Params placement = document.GetPlacement();
    note.SetResults([&] { return InsertAll(document, variants, placement); }, isForced);
    const auto resume = [&](auto progress, void* context) {
        return connection.GetClient().ResumeImageObjectReplacement(
            entry.job, document, object, {}, entry.count, variants, placement, progress, context);
    };
    if (CallForPictures(host, connection, ReplaceJobLabel, &note, resume)) {
        note.WriteResults(host, connection, InsertAll(document, variants, placement), isForced);
    }
}

}  // namespace LearningApp
