#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "resampling/PixelFilters.cpp"
#include "resampling/PixelFilters.h"

#include "formats/Highway.h"
#include "spans/PixelLanes.h"

#include <algorithm>

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

constexpr std::size_t FloatCount = PixelLanes::FloatCount;

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

constexpr std::size_t PartCount = 16 / FloatCount;

struct FourPixels {
    PixelLanes parts[PartCount];
};

/// The weighted sum of one pixel's taps: of each group of four taps those from `first` on that fill
/// a vector.
HWY_INLINE PixelLanes SumTaps(const float* row, const float* weights, std::size_t count,
                              std::size_t first) {
    PixelLanes sum = PixelLanes::Load(row + first * 4) * SpreadNumbers(weights, first);
    for (std::size_t k = 4; k < count; k += 4) {
        sum = sum + PixelLanes::Load(row + (k + first) * 4) * SpreadNumbers(weights + k, first);
    }
    return sum;
}

/// Four pixels, each from its own place in a row and with its own weights. Four taps at a time make
/// four sums, which are added up in pairs: (0 + 1) + (2 + 3). This summation order does not depend
/// on the vector size, so all instruction sets give the same bytes.
HWY_INLINE FourPixels FilterFour(const float* const* rows, const float* const* weights,
                                 std::size_t count) {
    FourPixels result;
#if HWY_TARGET == HWY_SCALAR || HWY_MAX_BYTES == 16
    for (std::size_t i = 0; i < 4; ++i) {
        const auto sum = [&](std::size_t first)
                             HWY_ATTR { return SumTaps(rows[i], weights[i], count, first); };
        result.parts[i] = (sum(0) + sum(1)) + (sum(2) + sum(3));
    }
#elif HWY_MAX_BYTES == 32
    constexpr PixelTag Tag;
    for (std::size_t i = 0; i < 4; i += 2) {
        const auto pair = [&](std::size_t first) HWY_ATTR {
            const auto a = SumTaps(rows[i], weights[i], count, first).v;
            const auto b = SumTaps(rows[i + 1], weights[i + 1], count, first).v;
            return hn::Add(hn::ConcatLowerLower(Tag, b, a), hn::ConcatUpperUpper(Tag, b, a));
        };
        result.parts[i / 2] = {hn::Add(pair(0), pair(2))};
    }
#else
    constexpr PixelTag Tag;
    const auto pair = [&](std::size_t i) HWY_ATTR {  // [a0 + a1, b0 + b1, a2 + a3, b2 + b3]
        const auto a = SumTaps(rows[i], weights[i], count, 0).v;
        const auto b = SumTaps(rows[i + 1], weights[i + 1], count, 0).v;
        return hn::Add(hn::OddEvenBlocks(b, a), hn::SwapAdjacentBlocks(hn::OddEvenBlocks(a, b)));
    };
    const auto ab = pair(0);
    const auto cd = pair(2);
    result.parts[0] = {
        hn::Add(hn::ConcatLowerLower(Tag, cd, ab), hn::ConcatUpperUpper(Tag, cd, ab))};
#endif
    return result;
}

HWY_INLINE void StoreFour(const FourPixels& pixels, float* rgba) {
    for (std::size_t part = 0; part < PartCount; ++part) {
        pixels.parts[part].Store(rgba + part * FloatCount);
    }
}

void FilterOneRow(const float* row, int left, const Taps& taps, float* rgba, std::size_t width) {
    const std::size_t count = taps.count;
    const auto place = [&](std::size_t pixel) {
        return row + static_cast<std::ptrdiff_t>(taps.first[pixel] - left) * 4;
    };
    const float* next = taps.weights;
    std::size_t i = 0;
    for (; i + 4 <= width; i += 4, next += 4 * count) {
        const float* const rows[4] = {place(i), place(i + 1), place(i + 2), place(i + 3)};
        const float* const weights[4] = {next, next + count, next + 2 * count, next + 3 * count};
        StoreFour(FilterFour(rows, weights, count), rgba + i * 4);
    }
    if (i < width) {  // padded by repeating the last pixel
        const float* rows[4];
        const float* weights[4];
        for (std::size_t j = 0; j < 4; ++j) {
            const std::size_t more = std::min(j, width - 1 - i);
            rows[j] = place(i + more);
            weights[j] = next + more * count;
        }
        StoreFour(FilterFour(rows, weights, count), rgba + i * 4);
    }
}

void FilterFourPoints(const FilterPoint* points, std::size_t stride, std::size_t rowCount,
                      std::size_t columnCount, float* rgba) {
    const float* rows[4];
    const float* weights[4];
    for (std::size_t j = 0; j < 4; ++j) {
        rows[j] = points[j].pixels;
        weights[j] = points[j].columnWeights;
    }
    FourPixels sum;
    for (std::size_t k = 0; k < rowCount; ++k) {
        const float four[4] = {points[0].rowWeights[k], points[1].rowWeights[k],
                               points[2].rowWeights[k], points[3].rowWeights[k]};
        const FourPixels row = FilterFour(rows, weights, columnCount);
        for (std::size_t part = 0; part < PartCount; ++part) {
            const PixelLanes product = row.parts[part] * SpreadNumbers(four, part * FloatCount / 4);
            sum.parts[part] = k == 0 ? product : sum.parts[part] + product;
        }
        for (const float*& pixels : rows) {
            pixels += stride;
        }
    }
    StoreFour(sum, rgba);
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
HWY_EXPORT(FilterFourPoints);

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

void FilterRow(const float* row, int left, const Taps& taps, float* rgba,
               std::size_t width) noexcept {
    HWY_DYNAMIC_DISPATCH(FilterOneRow)(row, left, taps, rgba, width);
}

void FilterPoints(const FilterPoint* points, std::size_t stride, std::size_t rowCount,
                  std::size_t columnCount, float* rgba) noexcept {
    HWY_DYNAMIC_DISPATCH(FilterFourPoints)(points, stride, rowCount, columnCount, rgba);
}

}  // namespace Raster
#endif
