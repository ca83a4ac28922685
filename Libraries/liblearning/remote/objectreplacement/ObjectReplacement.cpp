// Objects of a document that the service replaces.

#include "Kernel/Dispatch.h"
#include "Kernel/Json.h"
#include "Learning/ObjectRegion.h"
#include "Learning/RemoteInference.h"
#include "Raster/Compositing.h"
#include "Raster/PixelAccessor.h"

#include "remote/calls/CallService.h"
#include "remote/jobs/ServiceJob.h"
#include "remote/objectreplacement/Mask.h"
#include "remote/pictures/PictureText.h"
#include "remote/progress/CallFrame.h"

#include <array>
#include <cmath>

namespace Learning {

namespace {

using Kernel::Json::Value;
using Raster::AffineTransform;
using Raster::DynamicBitmap;

constexpr const char* ReplacementLabel = "Image object replacement inference";
constexpr int ReplacementDuration = 20'000;  // milliseconds
constexpr int Border = 16;                   // pixels, around all that is sent and returned

/// The region of a document that is sent, and what of the object lies there.
struct Cut {
    ObjectRegion region;
    /// Takes the picture's pixels to those of the region; not invertible if `placement` isn't.
    AffineTransform::Params transform;
};

Cut PlanCut(const RemoteInferenceHelper& helper, const DynamicBitmap& picture,
            const AffineTransform::Params& placement) {
    Kernel::RectT<int> bounds;
    helper.GetDocumentBounds(bounds, placement);
    const ObjectRegion region = CutObjectRegion(placement.MapRect(FindVisible(&picture)), bounds);
    // What lies in the region is rendered from the document: the picture through its placement, and
    // that through the way back of the region. A placement of the results that had the picture's in
    // it once more would put them twice as far.
    return {region, region.placement.Invert().value().Compose(placement)};
}

/// What of the picture lies in the region, in its format and colours.
Picture RenderRegion(const DynamicBitmap& picture, const Cut& cut) {
    auto region = Kernel::MakeCounted<DynamicBitmap>(cut.region.width, cut.region.height,
                                                     picture.GetPixelFormat());
    region->SetProfile(picture.GetProfile());
    Raster::Rendering rendering;
    rendering.transform = cut.transform;
    if (Raster::IsPossible(rendering) &&
        !Raster::Render(*region, picture, cut.transform, Raster::Sampler::Bicubic,
                        GetRasterFlag())) {
        ThrowUnfinished();
    }
    return region;
}

/// A picture with its border, as text. For any thread; `abort` is the caller's.
Kernel::String EncodeWithBorder(const DynamicBitmap& picture, Kernel::AbortFlag abort) {
    const Picture bordered = Raster::AddBorder(picture, Border);
    const Raster::ConstPixelAccessor pixels(*bordered);
    return EncodeAsText(pixels.GetView(), {}, abort);
}

struct Encoding {
    const char* key;
    Picture picture;
    Kernel::String text;
};

/// Adds the picture and the mask, which are encoded side by side.
void AddPictures(Value& body, Picture picture, Picture mask) {
    std::array<Encoding, 2> encodings{
        {{"image", std::move(picture), {}}, {"mask", std::move(mask), {}}}};
    const auto encode = [abort = ControlInForce::GetFlag()](Encoding& encoding) {
        encoding.text = EncodeWithBorder(*encoding.picture, abort);
    };
    Kernel::Dispatch::DispatchParallelFor(encode, encodings.size(), encodings.data(),
                                          Kernel::Dispatch::Priority::Normal,
                                          Kernel::Dispatch::ThreadPurpose::Pixels, 1);
    for (Encoding& encoding : encodings) {
        body[encoding.key] = std::move(encoding.text);
    }
}

/// What the service has made, without its border, in the size of the region; null if it is too
/// small to have one.
Picture Trim(const DynamicBitmap& made, const ObjectRegion& region) {
    if (made.GetWidth() <= 2 * Border || made.GetHeight() <= 2 * Border) {
        return nullptr;
    }
    Picture trimmed = Raster::AddBorder(made, -Border, GetRasterFlag());
    if (trimmed && trimmed->GetBounds() != Raster::Rect{0, 0, region.width, region.height}) {
        trimmed = Raster::Resize(*trimmed, region.width, region.height, trimmed->GetFormat(),
                                 Raster::Sampler::Bicubic, GetRasterFlag());
    }
    if (!trimmed) {
        ThrowUnfinished();
    }
    return trimmed;
}

RemoteResult CollectVariants(ServiceJob& job, int count, const ObjectRegion& region,
                             RemoteInference::Pictures& pictures,
                             AffineTransform::Params& regionPlacement) {
    for (int i = 0; i < count && pictures.size() < static_cast<std::size_t>(count); ++i) {
        job.Fetch(i, [&](const Picture& made) {
            if (Picture trimmed = Trim(*made, region)) {
                pictures.push_back(std::move(trimmed));
            }
        });
    }
    if (pictures.empty()) {
        return {RemoteResult::GenerationRejected, job.GetId()};
    }
    regionPlacement = region.placement;
    return {RemoteResult::Success, job.GetId()};
}

/// An empty picture for none.
Kernel::Counted<const DynamicBitmap> OrEmpty(Kernel::Counted<const DynamicBitmap> picture) {
    return picture ? std::move(picture) : Kernel::MakeCounted<DynamicBitmap>();
}

}  // namespace

RemoteResult RemoteInference::InferImageObjectReplacement(
    const RemoteInferenceHelper& helper, Kernel::Counted<const DynamicBitmap> picture,
    const AffineTransform::Params& placement, Kernel::Consolidated<Raster::ICCProfile> profile,
    Kernel::String prompt, double strength, int count, bool preparesRegion, Pictures& pictures,
    AffineTransform::Params& regionPlacement, ProgressCallback progress, void* context) {
    return CallService([&] {
        const CallFrame frame(GetInstance(), ReplacementLabel, ReplacementDuration, progress,
                              context);
        if (!std::isfinite(strength)) {
            return RemoteResult(RemoteResult::UnknownError, {});
        }
        picture = OrEmpty(std::move(picture));
        const bool expands = helper.ShouldExpand(*picture);
        const Cut cut = PlanCut(helper, *picture, placement);
        Picture region = RenderRegion(*picture, cut);
        const Picture mask = MakeMask(*region);
        if (preparesRegion && 1.0 - strength == 0.0) {
            Picture prepared = region->Clone(GetRasterFlag());
            if (!prepared) {
                ThrowUnfinished();
            }
            helper.PrepareRegion(*prepared, *mask);
            region = std::move(prepared);
        }
        Value body = GenerateStandardRequestJSON();
        body["prompt"] = std::move(prompt);
        body["expand"] = expands;
        body["strength"] = strength;
        body["number_of_images"] = count;
        AddPictures(body,
                    RenderForService(*region, profile, {}, cut.region.width, cut.region.height),
                    DrawMask(*mask));
        ServiceJob job = ServiceJob::Submit(ObjectReplacementPolling, body,
                                            [this] { return GenerateStandardRequestJSON(); });
        return CollectVariants(job, count, cut.region, pictures, regionPlacement);
    });
}

RemoteResult RemoteInference::ResumeImageObjectReplacement(
    Kernel::String job, const RemoteInferenceHelper& helper,
    Kernel::Counted<const DynamicBitmap> picture, const AffineTransform::Params& placement,
    int count, Pictures& pictures, AffineTransform::Params& regionPlacement,
    ProgressCallback progress, void* context) {
    return CallService([&] {
        const CallFrame frame(GetInstance(), ReplacementLabel, ReplacementDuration, progress,
                              context);
        const Cut cut = PlanCut(helper, *OrEmpty(std::move(picture)), placement);
        ServiceJob accepted(ObjectReplacementPolling, std::move(job),
                            [this] { return GenerateStandardRequestJSON(); });
        return CollectVariants(accepted, count, cut.region, pictures, regionPlacement);
    });
}

}  // namespace Learning
