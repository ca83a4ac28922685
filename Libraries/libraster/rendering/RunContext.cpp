#include "rendering/RunContext.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace Raster {

namespace {

bool IsWhole(double value) noexcept {
    constexpr double Limit = 1 << 30;
    return std::fabs(value) < Limit && value == std::floor(value);
}

bool IsWholeShift(const AffineTransform::Params& transform) noexcept {
    return transform.IsAxisAligned() && transform.xx == 1 && transform.yy == 1 &&
           IsWhole(transform.dx) && IsWhole(transform.dy);
}

/// The part of `rect` that the source, which is only translated, covers.
Rect FindCovered(const RunContext& context, const Rect& rect) noexcept {
    const auto move = [](int edge, int by, long long limit) {
        return static_cast<int>(std::clamp<long long>(static_cast<long long>(edge) + by, 0, limit));
    };
    const SpanSource& source = *context.run.source;
    const Rect covered{move(0, context.shiftX, rect.right), move(0, context.shiftY, rect.bottom),
                       move(source.GetWidth(), context.shiftX, rect.right),
                       move(source.GetHeight(), context.shiftY, rect.bottom)};
    return covered.Intersect(rect);
}

/// Direct conversion without translation, by the target from a view.
void ConvertFromRows(const RunContext& context, const Rect& rect) {
    context.run.destination->ConvertFrom(*context.run.source->GetView(), rect);
}

/// Direct conversion without translation, by the source into a view.
void ConvertIntoRows(const RunContext& context, const Rect& rect) {
    context.run.source->ConvertInto(*context.run.destination->GetView(), rect);
}

/// Direct conversion between views with translation; pixels that the source does not cover become
/// 0.
void ConvertShifted(const RunContext& context, const Rect& rect) {
    ConstPixelView from = *context.run.source->GetView();
    PixelView to = *context.run.destination->GetView();
    const Rect covered = FindCovered(context, rect);
    ClearAround(to, rect, covered);
    if (covered.IsEmpty()) {
        return;
    }
    from.pixels = from.At(covered.left - context.shiftX, covered.top - context.shiftY);
    to.pixels = to.At(covered.left, covered.top);
    const Rect block{0, 0, covered.right - covered.left, covered.bottom - covered.top};
    ViewTarget(to).ConvertFrom(from, block);
}

/// Without translation, by the only stage from RGBA8 to RGBA8.
void ConvertByStage(const RunContext& context, const Rect& rect) {
    for (int y = rect.top; y < rect.bottom; ++y) {
        context.run.rendering->stages.front()->ConvertBytes(
            context.run.source->GetView()->At(rect.left, y),
            context.run.destination->GetView()->At(rect.left, y),
            static_cast<std::size_t>(rect.GetWidth()));
    }
}

/// Whether pixels arrive at their own place, with none from beyond the source.
bool IsInPlace(const RunContext& context) noexcept {
    return context.shiftX == 0 && context.shiftY == 0 &&
           FindCovered(context, context.rect) == context.rect;
}

/// Whether ConvertByStage() will do.
bool IsForStage(const RunContext& context) noexcept {
    const Rendering& rendering = *context.run.rendering;
    const ConstPixelView* const from = context.run.source->GetView();
    const PixelView* const to = context.run.destination->GetView();
    const PixelFormat* const bytes = &GetPixelFormat(Format::RGBA8);
    return context.run.mask == nullptr && rendering.blend == Blend::Replace &&
           rendering.stages.size() == 1 && rendering.stages.front()->HasByteWay() &&
           from != nullptr && from->format == bytes && to != nullptr && to->format == bytes &&
           IsInPlace(context);
}

/// The direct conversion for the whole run; null if there is none.
DirectWay FindDirectWay(const RunContext& context) {
    if (!context.IsPlain()) {
        return IsForStage(context) ? ConvertByStage : nullptr;
    }
    const SpanSource& source = *context.run.source;
    const SpanTarget& destination = *context.run.destination;
    const ConstPixelView* const from = source.GetView();
    const PixelView* const to = destination.GetView();
    const bool isInPlace = IsInPlace(context);
    if (!isInPlace) {
        const bool isKnown =
            from != nullptr && to != nullptr && ViewTarget(*to).HasDirectWayFrom(*from->format);
        return isKnown ? ConvertShifted : nullptr;
    }
    if (from != nullptr && destination.HasDirectWayFrom(*from->format)) {
        return ConvertFromRows;
    }
    return to != nullptr && source.HasDirectWayInto(*to->format) ? ConvertIntoRows : nullptr;
}

}  // namespace

bool RunContext::IsPlain() const noexcept {
    return run.mask == nullptr && run.rendering->stages.empty() &&
           run.rendering->blend == Blend::Replace;
}

RunContext PrepareRun(const HostRun& run, const Rect& rect) {
    RunContext context{run, rect};
    const auto& transform = run.rendering->transform;
    if (transform && !IsWholeShift(*transform)) {
        const auto inverse = transform->Invert();
        if (!inverse) {
            throw std::invalid_argument("the transform has no way back");
        }
        context.resampler =
            Resampler::Create(*run.source, *inverse, run.rendering->sampler, rect, run.abort);
        return context;
    }
    if (transform) {
        context.shiftX = static_cast<int>(transform->dx);
        context.shiftY = static_cast<int>(transform->dy);
    }
    context.direct = FindDirectWay(context);
    return context;
}

}  // namespace Raster
