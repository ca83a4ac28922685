// Pictures from texts.

#include "Kernel/Format.h"
#include "Kernel/Json.h"
#include "Learning/RemoteInference.h"

#include "remote/calls/CallService.h"
#include "remote/jobs/ServiceJob.h"
#include "remote/pictures/PictureText.h"
#include "remote/progress/CallFrame.h"
#include "remote/styles/Styles.h"

#include <optional>

namespace Learning {

namespace {

using Kernel::Json::Value;

constexpr const char* GenerationLabel = "Text to image inference";

/// The index of `style` in the tables of styles; any other number counts as the neutral style.
std::size_t GetStyleIndex(GenerationStyle style) noexcept {
    const auto index = static_cast<std::size_t>(style);
    return index < StyleCount ? index : static_cast<std::size_t>(GenerationStyle::StockPhotography);
}

/// `prompt`, which says the style itself to models that do not know styles.
Kernel::String AddStyle(Kernel::String prompt, const TextToImageModel& model,
                        GenerationStyle style) {
    const std::size_t index = GetStyleIndex(style);
    if (!model.modelSupportsStyles &&
        index != static_cast<std::size_t>(GenerationStyle::StockPhotography)) {
        prompt +=
            Kernel::Format(". The style of the image should be '%1'.", StyleNameTable()[index]);
    }
    return prompt;
}

const char* NameGuidance(TextToImageGuidanceMode mode) noexcept {
    switch (mode) {
        case TextToImageGuidanceMode::FaceTransfer:
            return "FaceTransfer";
        case TextToImageGuidanceMode::ContentTransfer:
            return "ContentTransfer";
        case TextToImageGuidanceMode::StyleTransfer:
            return "StyleTransfer";
        default:
            return nullptr;
    }
}

/// Adds the picture that guides the service, if the model takes one in this mode.
void AddGuidance(Value& body, const TextToImageModel& model,
                 const RemoteInference::Guidance* guidance, TextToImageGuidanceMode mode) {
    const bool knowsTypes = model.modelSupportsReferenceImageTypes;
    if (guidance == nullptr || !model.modelSupportsReferenceImage ||
        (knowsTypes && mode == TextToImageGuidanceMode::None)) {
        return;
    }
    body["guidance_image"] = EncodeAsText(guidance->GetHostView(), {}, ControlInForce::GetFlag());
    body["guidance_weight"] = 1.0;
    if (const char* const type = NameGuidance(mode); knowsTypes && type != nullptr) {
        body["guidance_type"] = type;
    }
}

/// Fetches the pictures of a job, index by index, until there are enough.
RemoteResult CollectGenerated(ServiceJob& job, int count, RemoteInference::Pictures& pictures,
                              Kernel::String* enhancedPrompt) {
    for (int i = 0; i < count && pictures.size() < static_cast<std::size_t>(count); ++i) {
        const auto takePrompt = [&](const Value& reply) {
            const auto prompt = reply.find("prompt");
            if (i == 0 && enhancedPrompt != nullptr && prompt != reply.end() &&
                prompt->is_string()) {
                *enhancedPrompt = prompt->get_ref<const Kernel::String&>();
            }
        };
        job.Fetch(
            i, [&](Picture picture) { pictures.push_back(std::move(picture)); }, takePrompt);
    }
    return {pictures.empty() ? RemoteResult::GenerationRejected : RemoteResult::Success,
            job.GetId()};
}

}  // namespace

RemoteResult RemoteInference::InferTextToImage(TextToImageModel model, TextToImageAspect aspect,
                                               Kernel::Counted<Guidance> guidance,
                                               TextToImageGuidanceMode mode, Kernel::String& prompt,
                                               Kernel::String negativePrompt, bool enhancePrompt,
                                               GenerationStyle style, int count, Pictures& pictures,
                                               ProgressCallback progress, void* context) {
    return CallService([&] {
        const CallFrame frame(GetInstance(), GenerationLabel, model.modelPollStartMS, progress,
                              context);
        Value body = GenerateStandardRequestJSON();
        body["model"] = model.modelKey;
        body["aspect"] = static_cast<std::int32_t>(aspect);
        body["prompt"] = AddStyle(prompt, model, style);
        body["negativeprompt"] = std::move(negativePrompt);
        body["enhanceprompt"] = enhancePrompt ? "YES" : "NO";
        body["style"] = StyleIdTable()[GetStyleIndex(style)];
        body["num_images"] = count;
        AddGuidance(body, model, guidance.Get(), mode);
        Kernel::Trace::Write("RemoteInference: Calling model %1\t\n", model.modelKey);
        ServiceJob job = ServiceJob::Submit(TextToImagePolling, body,
                                            [this] { return GenerateStandardRequestJSON(); });
        const bool isEnhanced = enhancePrompt && model.modelSupportsPromptEnhancement;
        return CollectGenerated(job, count, pictures, isEnhanced ? &prompt : nullptr);
    });
}

RemoteResult RemoteInference::ResumeTextToImage(Kernel::String job, const TextToImageModel& model,
                                                Kernel::String& prompt, bool enhancePrompt,
                                                int count, Pictures& pictures,
                                                ProgressCallback progress, void* context) {
    return CallService([&] {
        const CallFrame frame(GetInstance(), GenerationLabel, model.modelPollStartMS, progress,
                              context);
        ServiceJob accepted(TextToImagePolling, std::move(job),
                            [this] { return GenerateStandardRequestJSON(); });
        const bool isEnhanced = enhancePrompt && model.modelSupportsPromptEnhancement;
        return CollectGenerated(accepted, count, pictures, isEnhanced ? &prompt : nullptr);
    });
}

}  // namespace Learning
