// Pictures that the service changes.

#include "Kernel/Json.h"
#include "Learning/RemoteInference.h"
#include "Raster/Compositing.h"
#include "Raster/PixelAccessor.h"

#include "remote/calls/CallService.h"
#include "remote/imagetoimage/TargetSize.h"
#include "remote/jobs/ServiceJob.h"
#include "remote/pictures/PictureText.h"
#include "remote/progress/CallFrame.h"

#include <stdexcept>

namespace Learning {

namespace {

using Kernel::Json::Value;
using Raster::AffineTransform;
using Raster::DynamicBitmap;
using Raster::Rect;

constexpr const char* EditLabel = "Image to image inference";
constexpr int EditQuality = 70;

Kernel::RectT<double> ToReal(const Rect& rect) noexcept {
    return {double(rect.left), double(rect.top), double(rect.right), double(rect.bottom)};
}

/// One edit: the part of the input that is sent, and where its result goes.
struct Edit {
    const DynamicBitmap& input;
    Rect box;       // what is visible of the input
    int width = 0;  // in which it is sent
    int height = 0;
    ImageToImageAlphaMode alphaMode = {};

    AffineTransform::Params GetTransform() const {
        return AffineTransform::Params::MapRect(ToReal(box), ToReal({0, 0, width, height}));
    }
};

/// What the automatic mode stands for. Removing the background is worth it for pictures that have
/// much of one: fewer than five opaque pixels for each that is transparent or translucent.
ImageToImageAlphaMode ChooseAlphaMode(const DynamicBitmap& input, const Rect& box) {
    constexpr float Much = 5.0F;
    Raster::CopyTally tally;
    if (!Raster::TallyAlpha(input, box, tally, GetRasterFlag())) {
        ThrowUnfinished();
    }
    const std::uint64_t others = tally.transparent + tally.translucent;
    const bool hasMuch =
        others > 0 && static_cast<float>(tally.opaque) / static_cast<float>(others) < Much;
    return hasMuch ? ImageToImageAlphaMode::RemoveBackground : ImageToImageAlphaMode::AsReturned;
}

/// Throws Refusal if there is nothing that the model would take.
Edit PlanEdit(const ImageToImageModel& model, const DynamicBitmap* input,
              ImageToImageAlphaMode alphaMode) {
    const Rect box = FindVisible(input);
    if (box.IsEmpty()) {
        throw Refusal(RemoteResult::RequestInsufficient);
    }
    if (alphaMode == ImageToImageAlphaMode::Automatic) {
        alphaMode = ChooseAlphaMode(*input, box);
    }
    const TargetSize size =
        GetTargetSize(model, static_cast<int>(box.GetWidth()), static_cast<int>(box.GetHeight()));
    if (!CanBeSent(size)) {
        throw Refusal(RemoteResult::RequestInsufficient);
    }
    return {*input, box, static_cast<int>(size.width), static_cast<int>(size.height), alphaMode};
}

void AddPicture(Value& body, const Edit& edit) {
    const Picture picture = RenderForService(edit.input, edit.input.GetProfile(),
                                             edit.GetTransform(), edit.width, edit.height);
    Raster::ExportOptions options;
    options.SetQuality(EditQuality);
    const Raster::ConstPixelAccessor pixels(*picture);
    body["image"] = EncodeAsText(pixels.GetView(), options, ControlInForce::GetFlag());
    body["width"] = edit.width;
    body["height"] = edit.height;
}

/// The picture that the service has made, in the size that was sent.
Picture FitToSent(const Edit& edit, const DynamicBitmap& made) {
    auto picture = Kernel::MakeCounted<DynamicBitmap>(edit.width, edit.height);
    picture->SetProfile(GetServiceProfile());
    const auto transform = AffineTransform::Params::MapRect(
        ToReal(made.GetBounds()), ToReal({0, 0, edit.width, edit.height}));
    if (!Raster::Render(*picture, made, transform, Raster::Sampler::Bicubic, GetRasterFlag())) {
        ThrowUnfinished();
    }
    return picture;
}

/// A picture like the input that has `part` in the place from which the sent picture was cut.
Picture PlaceEdit(const Edit& edit, const DynamicBitmap& part) {
    Picture output = edit.input.CloneEmpty();
    const AffineTransform::Params back = edit.GetTransform().Invert().value();
    bool isDone =
        Raster::CompositeOver(*output, part, back, 1, Raster::Sampler::Bicubic, GetRasterFlag());
    if (isDone && edit.alphaMode == ImageToImageAlphaMode::AsInput) {
        isDone = Raster::CompositeDestinationIn(*output, edit.input, GetRasterFlag());
    }
    if (!isDone) {
        ThrowUnfinished();
    }
    return output;
}

/// Fetches what the service has made of `edit`. Deliberate: if a later file of a reply can't be
/// had, `output` keeps what came of an earlier one.
RemoteResult FetchEdit(RemoteInference& client, ServiceJob& job, const Edit& edit,
                       Picture& output) {
    job.Fetch(0, [&](const Picture& made) {
        Kernel::Trace::Write("RemoteInference: Output %1 x %2\r\n", made->GetWidth(),
                             made->GetHeight());
        Picture part = FitToSent(edit, *made);
        if (edit.alphaMode == ImageToImageAlphaMode::RemoveBackground) {
            // Whether it succeeds or not: without a cut-out the whole is taken.
            client.InferImageRemoveBG(part, {}, part, nullptr, nullptr);
        }
        output = PlaceEdit(edit, *part);
    });
    return {output ? RemoteResult::Success : RemoteResult::GenerationRejected, job.GetId()};
}

}  // namespace

RemoteResult RemoteInference::InferImageToImage(ImageToImageModel model,
                                                Kernel::Counted<const DynamicBitmap> input,
                                                Kernel::String prompt,
                                                ImageToImageAlphaMode alphaMode,
                                                Kernel::Counted<DynamicBitmap>& output,
                                                ProgressCallback progress, void* context) {
    return CallService([&] {
        const CallFrame frame(GetInstance(), EditLabel, model.modelPollStartMS, progress, context);
        Kernel::Trace::Write("RemoteInference: Calling model %1\t\n", model.modelKey);
        const Edit edit = PlanEdit(model, input.Get(), alphaMode);
        Value body = GenerateStandardRequestJSON();
        body["model"] = model.modelKey;
        body["prompt"] = std::move(prompt);
        AddPicture(body, edit);
        Kernel::Trace::Write("RemoteInference: Input %1 x %2\r\n", edit.width, edit.height);
        ServiceJob job = ServiceJob::Submit(ImageToImagePolling, body,
                                            [this] { return GenerateStandardRequestJSON(); });
        return FetchEdit(*this, job, edit, output);
    });
}

RemoteResult RemoteInference::ResumeImageToImage(Kernel::String job, ImageToImageModel model,
                                                 Kernel::Counted<const DynamicBitmap> input,
                                                 ImageToImageAlphaMode alphaMode,
                                                 Kernel::Counted<DynamicBitmap>& output,
                                                 ProgressCallback progress, void* context) {
    return CallService([&] {
        const CallFrame frame(GetInstance(), EditLabel, model.modelPollStartMS, progress, context);
        const Edit edit = PlanEdit(model, input.Get(), alphaMode);
        ServiceJob accepted(ImageToImagePolling, std::move(job),
                            [this] { return GenerateStandardRequestJSON(); });
        return FetchEdit(*this, accepted, edit, output);
    });
}

}  // namespace Learning
