#include "Kernel/Utf.h"
#include "Raster/Compositing.h"
#include "Raster/Stages.h"

#include "commands/ModelChoice.h"
#include "commands/PictureCall.h"
#include "commands/PictureCommands.h"
#include "commands/PictureJobs.h"
#include "files/Files.h"
#include "files/NewFiles.h"
#include "files/PhotoColours.h"
#include "files/Pipes.h"
#include "service/StyleWords.h"

#include <ostream>

namespace LearningApp {

namespace {

using Learning::GenerationStyle;
using Learning::RemoteInference;
using Learning::TextToImageGuidanceMode;
using Learning::TextToImageModel;

constexpr const char* GenerateJobLabel = "generate";

/// Throws WrongUse for what the model would not obey.
void CheckModel(const TextToImageModel& model, const GenerateOptions& options) {
    const std::pair<bool, const char*> faults[] = {
        {!options.reference.empty() && !model.modelSupportsReferenceImage,
         "takes no reference picture"},
        {options.referenceUse != TextToImageGuidanceMode::None &&
             !model.modelSupportsReferenceImageTypes,
         "knows no uses of a reference picture"},
        {options.isEnhanced && !model.modelSupportsPromptEnhancement, "enhances no prompts"},
        {options.aspect != 0 && !model.modelSupportsAspects, "knows no aspects"},
    };
    for (const auto& [isFault, what] : faults) {
        if (isFault) {
            throw WrongUse("the model %1 %2\nRun learning catalogue.", model.modelKey, what);
        }
    }
    if (options.count > model.modelMaxGenerations && model.modelMaxGenerations > 0) {
        throw WrongUse("the model %1 makes %2 pictures at most", model.modelKey,
                       model.modelMaxGenerations);
    }
}

/// The picture as it looks on white, in sRGB: what is hidden under transparent pixels is not sent.
Kernel::Counted<RemoteInference::Guidance> LoadReference(const Host& host,
                                                         const std::string& path) {
    if (path.empty()) {
        return nullptr;
    }
    const auto photo = LoadForService(host, path);
    Raster::DynamicBitmap picture(photo->GetWidth(), photo->GetHeight());
    picture.SetProfile(GetNetworkProfile());
    Raster::Convert(picture, *photo, nullptr, {Raster::CreateFlattenStage(1, 1, 1)});
    return RemoteInference::Guidance::CreateFromBitmap(picture);
}

/// How the model is to use the reference picture, if there is one.
TextToImageGuidanceMode ChooseUse(const TextToImageModel& model, const GenerateOptions& options) {
    const bool isOpen =
        !options.reference.empty() && options.referenceUse == TextToImageGuidanceMode::None;
    return isOpen && model.modelSupportsReferenceImageTypes
               ? TextToImageGuidanceMode::ContentTransfer
               : options.referenceUse;
}

/// A picture on the standard output is not followed by words.
void ShowPrompt(const Host& host, const JobNote& note, const Kernel::String& prompt) {
    if (!note.GetEntry().isEnhanced) {
        return;
    }
    const Kernel::String text = Kernel::MakePrintable(prompt);
    if (IsPipe(note.GetEntry().output)) {
        host.Say("%1", text);
    } else {
        host.GetOut() << text << '\n';
    }
}

}  // namespace

void Generate(const Host& host, const ServiceOptions& service, const GenerateOptions& options) {
    if (options.reference.empty() && options.referenceUse != TextToImageGuidanceMode::None) {
        throw WrongUse("--reference-use is of use with --reference alone");
    }
    CheckNewPictures(options.output, options.count, options.isForced, {options.reference});
    const GenerationStyle style =
        options.style.empty() ? GenerationStyle::StockPhotography : FindStyle(options.style);
    const auto reference = LoadReference(host, options.reference);
    const ServiceConnection connection(service);
    RemoteInference client = LoadModels(host, connection);
    const TextToImageModel model =
        ChooseModel(client.GetTextToImageModels(), client.GetDefaultTextToImageModel(),
                    options.model, !connection.ShowsRequests());
    CheckModel(model, options);

    JobEntry entry;
    entry.output = MakeAbsolute(options.output);
    entry.model = std::string_view(model.modelKey);
    entry.count = options.count;
    entry.isEnhanced = options.isEnhanced;
    JobNote note = JobNote::Prepare(connection, std::move(entry));
    Kernel::String prompt = options.prompt;
    RemoteInference::Pictures pictures;
    note.SetResults([&] { return pictures; }, options.isForced);
    const auto generate = [&](auto progress, void* context) {
        return client.InferTextToImage(model, Learning::TextToImageAspect{options.aspect},
                                       reference, ChooseUse(model, options), prompt,
                                       options.negativePrompt, options.isEnhanced, style,
                                       options.count, pictures, progress, context);
    };
    if (CallForPictures(host, connection, GenerateJobLabel, &note, generate)) {
        note.WriteResults(host, connection, pictures, options.isForced);
        ShowPrompt(host, note, prompt);
    }
}

void ResumeGenerate(const Host& host, const ServiceConnection& connection, JobNote& note,
                    bool isForced) {
    const JobEntry entry = note.GetEntry();
    RemoteInference client = LoadModels(host, connection);
    const TextToImageModel model = FindModel(client.GetTextToImageModels(), entry.model);
    Kernel::String prompt;
    RemoteInference::Pictures pictures;
    note.SetResults([&] { return pictures; }, isForced);
    const auto resume = [&](auto progress, void* context) {
        return client.ResumeTextToImage(entry.job, model, prompt, entry.isEnhanced, entry.count,
                                        pictures, progress, context);
    };
    if (CallForPictures(host, connection, GenerateJobLabel, &note, resume)) {
        note.WriteResults(host, connection, pictures, isForced);
        ShowPrompt(host, note, prompt);
    }
}

}  // namespace LearningApp
