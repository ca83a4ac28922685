#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "resampling/PixelFilters.cpp"
#include "resampling/PixelFilters.h"

#include "formats/Highway.h"
#include "resampling/FourPixels.h"

#include <algorithm>

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

/// Applies `operation` to vectors of pixels; the remainder goes through a copy.
template <class Operation>
HWY_INLINE void ForEachPixel(float* rgba, std::size_t count, Operation operation) {
    std::size_t i = 0;
    for (; i + FloatCount <= count * 4; i += FloatCount) {
        operation(PixelLanes::Load(rgba + i)).Store(rgba + i);
    }
    if (i < count * 4) {
        float rest[FloatCount] = {};
        std::copy(rgba + i, rgba + count * 4, rest);
        operation(PixelLanes::Load(rest)).Store(rest);
        std::copy_n(rest, count * 4 - i, rgba + i);
    }
}

void PremultiplyRow(float* rgba, std::size_t count) {
    ForEachPixel(rgba, count, [](PixelLanes pixels) HWY_ATTR {
        const PixelLanes alpha = AlphaOf(pixels);
        return Join(Times(pixels, alpha), WhereAboveZero(alpha, alpha));
    });
}

void UnpremultiplyRow(float* rgba, std::size_t count) {
    ForEachPixel(rgba, count, [](PixelLanes pixels) HWY_ATTR {
        const PixelLanes one = PixelLanes::All(1);
        const PixelLanes alpha = AlphaOf(pixels);
        const auto isOpaque = alpha > PixelLanes::All(1 - 0x1p-20F);
        const PixelLanes opaque = Join(pixels, one);
        const auto isAbove = alpha > PixelLanes::All(1 + 0x1p-20F);
        if (AllTrue(isOpaque) && AllFalse(isAbove)) {  // the common case saves a division
            return opaque;
        }
        const PixelLanes divided = WhereAboveZero(alpha, Join(pixels / alpha, Smaller(alpha, one)));
        return Select(isOpaque, Select(isAbove, divided, opaque), divided);
    });
}

void SumAllRows(const float* const* rows, const float* weights, std::size_t count, float* sum,
                std::size_t width) {
    constexpr std::size_t Step = 2 * FloatCount;
    for (std::size_t i = 0; i < width * 4; i += Step) {
        const PixelLanes weight = PixelLanes::All(weights[0]);
        PixelLanes low = PixelLanes::Load(rows[0] + i) * weight;
        PixelLanes high = PixelLanes::Load(rows[0] + i + FloatCount) * weight;
        for (std::size_t k = 1; k < count; ++k) {
            const PixelLanes next = PixelLanes::All(weights[k]);
            low = low + PixelLanes::Load(rows[k] + i) * next;
            high = high + PixelLanes::Load(rows[k] + i + FloatCount) * next;
        }
        low.Store(sum + i);
        high.Store(sum + i + FloatCount);
    }
}

void AddOneRow(const float* row, float weight, float* sum, std::size_t width) {
    const PixelLanes factor = PixelLanes::All(weight);
    for (std::size_t i = 0; i < width * 4; i += FloatCount) {
        (PixelLanes::Load(sum + i) + PixelLanes::Load(row + i) * factor).Store(sum + i);
    }
}

/// Four pixels of a row that starts at column `left`. Those after `last`, 0 to 3, repeat it.
template <bool IsGuarded>
HWY_INLINE FourPixels FilterFour(const float* row, int left, const int* first, const float* weights,
                                 std::size_t count, std::size_t last) {
    const auto place = [&](std::size_t i) { return row + std::ptrdiff_t{first[i] - left} * 4; };
    const std::size_t at[] = {0, std::min<std::size_t>(1, last), std::min<std::size_t>(2, last),
                              last};
    const FourPixels sums[] = {SumTaps<IsGuarded>(place(0), weights, count),
                               SumTaps<IsGuarded>(place(at[1]), weights + at[1] * count, count),
                               SumTaps<IsGuarded>(place(at[2]), weights + at[2] * count, count),
                               SumTaps<IsGuarded>(place(at[3]), weights + at[3] * count, count)};
    return AddUp(sums);
}

template <bool IsGuarded>
HWY_INLINE void FilterWholeRow(const float* row, int left, const Taps& taps, float* rgba,
                               std::size_t width) {
    const float* weights = taps.weights;
    std::size_t i = 0;
    for (; i + 4 <= width; i += 4, weights += 4 * taps.count) {
        StoreFour(FilterFour<IsGuarded>(row, left, taps.first + i, weights, taps.count, 3),
                  rgba + i * 4);
    }
    if (i < width) {
        StoreFour(
            FilterFour<IsGuarded>(row, left, taps.first + i, weights, taps.count, width - i - 1),
            rgba + i * 4);
    }
}

void FilterOneRow(const float* row, int left, const Taps& taps, float* rgba, std::size_t width,
                  bool isGuarded) {
    if (isGuarded) {
        FilterWholeRow<true>(row, left, taps, rgba, width);
    } else {
        FilterWholeRow<false>(row, left, taps, rgba, width);
    }
}

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Raster {

HWY_EXPORT(PremultiplyRow);
HWY_EXPORT(UnpremultiplyRow);
HWY_EXPORT(SumAllRows);
HWY_EXPORT(AddOneRow);
HWY_EXPORT(FilterOneRow);

void FetchAhead(const std::byte* bytes, std::size_t size) noexcept {
    constexpr std::size_t CacheLine = 64;
    for (std::size_t i = 0; i < size; i += CacheLine) {
        hwy::Prefetch(bytes + i);
    }
}

void Premultiply(float* rgba, std::size_t count) noexcept {
    HWY_DYNAMIC_DISPATCH(PremultiplyRow)(rgba, count);
}

void Unpremultiply(float* rgba, std::size_t count) noexcept {
    HWY_DYNAMIC_DISPATCH(UnpremultiplyRow)(rgba, count);
}

void SumRows(const float* const* rows, const float* weights, std::size_t count, float* sum,
             std::size_t width) noexcept {
    HWY_DYNAMIC_DISPATCH(SumAllRows)(rows, weights, count, sum, width);
}

void AddRow(const float* row, float weight, float* sum, std::size_t width) noexcept {
    HWY_DYNAMIC_DISPATCH(AddOneRow)(row, weight, sum, width);
}

void FilterRow(const float* row, int left, const Taps& taps, float* rgba, std::size_t width,
               bool isGuarded) noexcept {
    HWY_DYNAMIC_DISPATCH(FilterOneRow)(row, left, taps, rgba, width, isGuarded);
}

bool MayBeInfinite(const SpanSource& source) noexcept {
    const ConstPixelView* const view = source.GetView();
    return view == nullptr || view->format->sampleSize > 2;
}

}  // namespace Raster
#endif
