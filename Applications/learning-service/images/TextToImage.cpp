#include "images/TextToImage.h"

#include "drawing/Look.h"
#include "drawing/Random.h"
#include "drawing/Scene.h"
#include "envelope/Refusal.h"
#include "envelope/Rejection.h"
#include "images/Checks.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace Service {

namespace {

using Kind = MemberRule::Kind;

constexpr struct {
    int width;
    int height;
} Aspects[] = {{1, 1}, {4, 3}, {3, 4}, {3, 2}, {2, 3}, {16, 9}, {9, 16}};

constexpr const char* GuidanceTypes[] = {"FaceTransfer", "ContentTransfer", "StyleTransfer"};

/// The side of a picture that has as many pixels as a square one, in whole blocks of eight.
int GetSide(int square, int own, int other) {
    constexpr int Block = 8;
    const double side = square * std::sqrt(static_cast<double>(own) / other);
    return std::max(static_cast<int>(std::lround(side / Block)), 1) * Block;
}

const Look& TakeStyle(const Envelope& envelope) {
    const Look* const look = FindLook(envelope.Get("style"));
    if (look == nullptr) {
        throw Refusal(400, "the member \"style\" is no identifier of a style");
    }
    return *look;
}

bool TakeAnswer(const Envelope& envelope, const char* key) {
    const std::string& answer = envelope.Get(key);
    if (answer != "YES" && answer != "NO") {
        throw Refusal(400, std::string("the member \"") + key + "\" is neither YES nor NO");
    }
    return answer == "YES";
}

/// Image and weight come together, and a type with them only.
void CheckGuidance(const Envelope& envelope, const DrawingModel& model) {
    const bool isGuided = envelope.Has("guidance_image");
    if (isGuided != envelope.Has("guidance_weight") ||
        (!isGuided && envelope.Has("guidance_type"))) {
        throw Refusal(400, "the members for guidance do not come together");
    }
    if (isGuided && !model.takesGuidance) {
        throw Refusal(400, "this model takes no guidance");
    }
    if (isGuided) {
        TakeShare(envelope, "guidance_weight");
    }
    if (envelope.Has("guidance_type")) {
        const std::string& type = envelope.Get("guidance_type");
        if (!model.takesGuidanceTypes ||
            std::ranges::find(GuidanceTypes, type) == std::end(GuidanceTypes)) {
            throw Refusal(400, "the member \"guidance_type\" is none of this model");
        }
    }
}

std::string Enhance(const std::string& prompt) {
    constexpr const char* Additions[] = {
        ", in soft morning light, with fine detail and a calm, balanced composition",
        ", wide view, rich colours, gentle haze in the distance, finely detailed",
        ", dramatic light and deep shadows, crisp foreground, finely detailed"};
    return prompt +
           Additions[Random(HashText(prompt)).Below(static_cast<int>(std::size(Additions)))];
}

}  // namespace

TextToImageOperation::TextToImageOperation(const Credentials& credentials,
                                           const ServedModels& models, Studio& studio)
    : EnvelopeOperation({{"model"},
                         {"aspect", Kind::Integer},
                         {"prompt"},
                         {"negativeprompt"},
                         {"enhanceprompt"},
                         {"style"},
                         {"num_images", Kind::Integer},
                         {"guidance_image", Kind::Text, true},
                         {"guidance_weight", Kind::Number, true},
                         {"guidance_type", Kind::Text, true}},
                        credentials),
      m_models(models),
      m_studio(studio) {}

Response TextToImageOperation::Answer(const Envelope& envelope) const {
    constexpr int MaxCount = 1000;  // whatever the catalogue says
    TakeOrigin(envelope);
    const auto& aspect = Aspects[TakeInteger(envelope, "aspect", 0, std::ssize(Aspects) - 1)];
    const Look& look = TakeStyle(envelope);
    const bool enhances = TakeAnswer(envelope, "enhanceprompt");
    const std::optional<DrawingModel> model = m_models.FindDrawing(envelope.Get("model"));
    if (!model) {
        throw Rejection(Code::ClientTooOld);
    }
    CheckGuidance(envelope, *model);
    Job job;
    job.count = TakeInteger(envelope, "num_images", 1, std::min(model->maxCount, MaxCount));
    const std::string& asked = TakePrompt(envelope, "prompt");
    job.prompt = enhances && model->enhancesPrompts ? Enhance(asked) : "";
    job.extension = look.levels > 0 ? "png" : "jpg";  // areas of one colour
    SceneRequest scene{asked, TakeText(envelope, "negativeprompt"), {}, 0};
    if (envelope.Has("guidance_image")) {
        const Workbench::Seat seat = m_studio.bench.Enter();
        scene.palette = TakePalette(*TakeJPEG(envelope, "guidance_image"));
    }
    const int width = GetSide(m_studio.side, aspect.width, aspect.height);
    const int height = GetSide(m_studio.side, aspect.height, aspect.width);
    const std::size_t size = 2 * (asked.size() + scene.negativePrompt.size());
    job.draw = [scene = std::move(scene), &look, width, height](int index) {
        SceneRequest own = scene;
        own.variant = static_cast<std::uint64_t>(index);
        const PicturePointer picture = DrawScene(own, width, height);
        ApplyLook(*picture, look, own.variant);
        constexpr int Quality = 92;
        return look.levels > 0 ? WritePNG(*picture) : WriteJPEG(*picture, Quality);
    };
    return AcceptJob(m_studio, "textToImageAsync", std::move(job), size);
}

}  // namespace Service
