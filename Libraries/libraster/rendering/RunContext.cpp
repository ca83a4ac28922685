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

bool IsLarge(const PixelView* view) noexcept {
    return view != nullptr && static_cast<std::size_t>(view->width) * view->format->GetPixelSize() *
                                      static_cast<std::size_t>(view->height) >
                                  CacheShare;
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

/// Direct conversion without translation, by the target from a view or by the source into one.
bool ConvertInPlace(const RunContext& context, const Rect& rect) {
    const HostRun& run = context.run;
    const ConstPixelView* const from = run.source->GetView();
    const PixelView* const to = run.destination->GetView();
    return (from != nullptr && run.destination->ConvertFrom(*from, rect, context.isLarge)) ||
           (to != nullptr && run.source->ConvertInto(*to, rect, context.isLarge));
}

/// Direct conversion between views with translation; pixels that the source does not cover become
/// 0.
bool ConvertShifted(const RunContext& context, const Rect& rect) {
    ConstPixelView from = *context.run.source->GetView();
    PixelView to = *context.run.destination->GetView();
    const Rect covered = FindCovered(context, rect);
    ClearAround(to, rect, covered);
    if (covered.IsEmpty()) {
        return true;
    }
    from.pixels = from.At(covered.left - context.shiftX, covered.top - context.shiftY);
    to.pixels = to.At(covered.left, covered.top);
    const Rect block{0, 0, covered.right - covered.left, covered.bottom - covered.top};
    return ViewTarget(to).ConvertFrom(from, block, context.isLarge);
}

/// The direct conversion for the whole run; null if there is none.
DirectWay FindDirectWay(const RunContext& context) {
    if (!context.IsPlain()) {
        return nullptr;
    }
    constexpr Rect Nothing{};  // which only tests for a conversion
    const bool isInPlace = context.shiftX == 0 && context.shiftY == 0 &&
                           FindCovered(context, context.rect) == context.rect;
    if (isInPlace) {
        return ConvertInPlace(context, Nothing) ? ConvertInPlace : nullptr;
    }
    const ConstPixelView* const from = context.run.source->GetView();
    const PixelView* const to = context.run.destination->GetView();
    const bool isKnown =
        from != nullptr && to != nullptr && ViewTarget(*to).ConvertFrom(*from, Nothing, false);
    return isKnown ? ConvertShifted : nullptr;
}

}  // namespace

bool RunContext::IsPlain() const noexcept {
    return run.mask == nullptr && run.rendering->stages.empty() &&
           run.rendering->blend == Blend::Replace;
}

RunContext PrepareRun(const HostRun& run, const Rect& rect) {
    RunContext context{run, rect};
    context.isLarge = IsLarge(run.destination->GetView());
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
