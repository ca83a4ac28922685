#include "Raster/Compositing.h"

#include "Raster/ICCManager.h"
#include "Raster/Pipeline.h"

#include "colour/AdoptedColours.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace Raster {

namespace {

using BitmapPipeline = Pipeline<DynamicBitmap, DynamicBitmap>;

/// A rendering with the conversion between the colours of the two, if one is needed; empty if there
/// is none.
std::optional<Rendering> MakeRendering(const DynamicBitmap& destination,
                                       const DynamicBitmap& source) {
    Rendering rendering;
    const bool isPossible = AddColours(
        rendering, ICCManager::CreateConversion(source.GetFormat(), source.GetProfile(),
                                                destination.GetFormat(), destination.GetProfile()));
    return isPossible ? std::optional(std::move(rendering)) : std::nullopt;
}

/// A transparent bitmap of the format and profile of `source`.
Kernel::Counted<DynamicBitmap> CreateLike(const DynamicBitmap& source, int width, int height) {
    auto bitmap = Kernel::MakeCounted<DynamicBitmap>(width, height, source.GetPixelFormat());
    bitmap->SetProfile(source.GetProfile());
    return bitmap;
}

/// Clamped to a length that the constructor of DynamicBitmap refuses.
int ToSide(long long length) noexcept {
    return static_cast<int>(std::min<long long>(length, DynamicBitmap::MaximumSide + 1));
}

Kernel::Counted<DynamicBitmap> CopyRect(const DynamicBitmap& source, const Rect& rect,
                                        CopyTally* tally, bool* abort) {
    auto copy = CreateLike(source, ToSide(rect.GetWidth()), ToSide(rect.GetHeight()));
    Rendering rendering;
    rendering.transform =
        AffineTransform::Params::Translate(-double{1} * rect.left, -double{1} * rect.top);
    rendering.tally = tally;
    const bool isDone =
        BitmapPipeline::Run(*copy, source, nullptr, copy->GetBounds(), rendering, abort);
    return isDone ? copy : nullptr;
}

}  // namespace

bool Render(DynamicBitmap& destination, const DynamicBitmap& source,
            const AffineTransform::Params& transform, Sampler sampler, bool* abort,
            const SpanStages& stages) {
    std::optional<Rendering> rendering = MakeRendering(destination, source);
    if (!rendering) {
        return false;
    }
    rendering->transform = transform;
    rendering->sampler = sampler;
    rendering->stages.insert(rendering->stages.end(), stages.begin(), stages.end());
    return BitmapPipeline::Run(destination, source, nullptr, destination.GetBounds(), *rendering,
                               abort);
}

bool Convert(DynamicBitmap& destination, const DynamicBitmap& source, bool* abort,
             const SpanStages& stages) {
    std::optional<Rendering> rendering = MakeRendering(destination, source);
    if (!rendering) {
        return false;
    }
    rendering->stages.insert(rendering->stages.end(), stages.begin(), stages.end());
    return BitmapPipeline::Run(destination, source, nullptr, source.GetBounds(), *rendering, abort);
}

Kernel::Counted<DynamicBitmap> Resize(const DynamicBitmap& source, int width, int height,
                                      Format format, Sampler sampler, bool* abort) {
    auto result = Kernel::MakeCounted<DynamicBitmap>(width, height, format);
    const AdoptedColours adopted = AdoptColours(source.GetFormat(), source.GetProfile(), format);
    result->SetProfile(adopted.profile);
    if (result->GetBounds().IsEmpty() || source.GetBounds().IsEmpty()) {
        return result;
    }
    Rendering rendering;
    rendering.transform = AffineTransform::Params::MapRect(
        {0, 0, double{1} * source.GetWidth(), double{1} * source.GetHeight()},
        {0, 0, double{1} * width, double{1} * height});
    rendering.sampler = sampler;
    const bool isDone =
        AddColours(rendering, adopted.conversion) &&
        BitmapPipeline::Run(*result, source, nullptr, result->GetBounds(), rendering, abort);
    return isDone ? result : nullptr;
}

Kernel::Counted<DynamicBitmap> CopyWithTally(const DynamicBitmap& source, const Rect& rect,
                                             CopyTally& tally, bool* abort) {
    CopyTally seen;
    auto copy = CopyRect(source, rect, &seen, abort);
    if (copy) {
        tally = seen;
    }
    return copy;
}

bool CompositeOver(DynamicBitmap& destination, const DynamicBitmap& source,
                   const AffineTransform::Params& transform, float weight, Sampler sampler,
                   bool* abort) {
    std::optional<Rendering> rendering = MakeRendering(destination, source);
    if (!rendering) {
        return false;
    }
    rendering->transform = transform;
    rendering->sampler = sampler;
    rendering->blend = Blend::Over;
    rendering->weight = weight;
    return BitmapPipeline::Run(destination, source, nullptr, transform.MapRect(source.GetBounds()),
                               *rendering, abort);
}

bool CompositeDestinationIn(DynamicBitmap& destination, const DynamicBitmap& mask, bool* abort) {
    Rendering rendering;
    rendering.blend = Blend::DestinationIn;
    return BitmapPipeline::Run(destination, mask, nullptr, destination.GetBounds(), rendering,
                               abort);
}

Kernel::Counted<DynamicBitmap> JoinAlpha(const DynamicBitmap& colour, const DynamicBitmap& alpha,
                                         bool* abort) {
    if (colour.GetBounds() != alpha.GetBounds()) {
        return nullptr;
    }
    auto result = colour.Clone(abort);
    return result && SetAlpha(*result, alpha, abort) ? result : nullptr;
}

Kernel::Counted<DynamicBitmap> AddBorder(const DynamicBitmap& source, int border, bool* abort) {
    const long long width = source.GetWidth() + 2LL * border;
    const long long height = source.GetHeight() + 2LL * border;
    if (width <= 0 || height <= 0) {
        return CreateLike(source, 0, 0);
    }
    const int right = ToSide(width) - border;
    const int bottom = ToSide(height) - border;
    return CopyRect(source, {-border, -border, right, bottom}, nullptr, abort);
}

}  // namespace Raster
