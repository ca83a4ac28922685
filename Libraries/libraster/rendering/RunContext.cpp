#include "rendering/RunContext.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace Raster {

namespace {

/// Whether pixels are only translated, by no more than what int can hold of it.
bool IsShift(const MapShape& shape) noexcept {
    constexpr double Limit = 1 << 30;
    return shape.kind == MapShape::Kind::Placement && shape.map.xx == 1 && shape.map.yy == 1 &&
           std::fabs(shape.map.dx) < Limit && std::fabs(shape.map.dy) < Limit;
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
    if (run.rendering->transform) {
        const SpanSource& source = *run.source;
        const auto shape =
            FindShape(*run.rendering->transform, source.GetWidth(), source.GetHeight());
        if (!shape) {
            throw std::invalid_argument("the transform has no way back");
        }
        if (!IsShift(*shape)) {
            context.resampler = Resampler::Create(source, *shape, run.rendering->sampler, rect);
            return context;
        }
        context.shiftX = static_cast<int>(shape->map.dx);
        context.shiftY = static_cast<int>(shape->map.dy);
    }
    context.direct = FindDirectWay(context);
    return context;
}

}  // namespace Raster
