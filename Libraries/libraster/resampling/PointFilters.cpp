#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "resampling/PointFilters.cpp"
#include "resampling/PointFilters.h"

#include "formats/Highway.h"
#include "resampling/FourPixels.h"
#include "resampling/PictureBlock.h"

#include <algorithm>
#include <cmath>

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

void InterpolatePoints(double start, double step, double first, std::size_t count, double* points) {
    const hn::ScalableTag<double> tag;
    for (std::size_t i = 0; i < count; i += hn::Lanes(tag)) {
        const auto at = hn::Add(hn::Set(tag, first),
                                hn::Add(hn::Set(tag, static_cast<double>(i)), hn::Iota(tag, 0)));
        hn::StoreU(hn::Add(hn::Set(tag, start), hn::Mul(hn::Set(tag, step), at)), tag, points + i);
    }
}

/// Vectors of points may begin at the last one; those beyond it are the same point again.
constexpr std::size_t PointPadding = 3;

/// The first taps of points along one axis, and their phases.
struct TapPlaces {
    std::int32_t first[TileWidth + PointPadding];
    float phases[TileWidth + PointPadding];
};

/// `limit` is the size of the block's source.
HWY_INLINE void FindPlaces(const double* points, std::size_t count, double scale, double limit,
                           double reach, TapPlaces& places) {
    const hn::ScalableTag<double> tag;
    const hn::Rebind<float, decltype(tag)> floats;
    const hn::Rebind<std::int32_t, decltype(tag)> integers;
    const auto zero = hn::Zero(tag);
    const auto most = hn::Set(tag, limit);
    const auto before = hn::Set(tag, reach + 0.5);
    for (std::size_t i = 0; i < count; i += hn::Lanes(tag)) {
        const auto point = hn::Mul(hn::LoadU(tag, points + i), hn::Set(tag, scale));
        const auto begin = hn::Sub(hn::Min(hn::Max(point, zero), most), before);
        const auto whole = hn::Floor(begin);
        hn::StoreU(hn::DemoteTo(integers, hn::Add(whole, hn::Set(tag, 1.0))), integers,
                   places.first + i);
        hn::StoreU(hn::DemoteTo(floats, hn::Sub(begin, whole)), floats, places.phases + i);
    }
    std::fill_n(places.first + count, PointPadding, places.first[count - 1]);
    std::fill_n(places.phases + count, PointPadding, places.phases[count - 1]);
}

/// The weights of one point along one axis, interpolated.
HWY_INLINE void FindWeights(const PhaseTable& table, float phase, float* weights) {
    const std::size_t count = table.GetPaddedCount();
    const float place = phase * PhaseTable::PhaseCount;
    const int index = std::min(static_cast<int>(place), PhaseTable::PhaseCount - 1);
    const float* const from = table.Get() + static_cast<std::size_t>(index) * 2 * count;
    const PixelLanes share = PixelLanes::All(place - static_cast<float>(index));
    for (std::size_t k = 0; k < table.GetCount(); k += FloatCount) {
        (PixelLanes::Load(from + k) + PixelLanes::Load(from + count + k) * share)
            .Store(weights + k);
    }
}

/// Leaves out taps beyond a source of `size` pixels, the last of which is not whole.
inline void CutWeights(int first, int size, float lastShare, std::size_t count, float* weights) {
    float sum = 0;
    for (int k = 0; k < static_cast<int>(count); ++k) {
        const bool isInside = first + k >= 0 && first + k < size;
        weights[k] *= isInside ? first + k == size - 1 ? lastShare : 1 : 0;
        sum += weights[k];
    }
    for (std::size_t k = 0; k < count; ++k) {
        weights[k] /= sum;
    }
}

/// The weighted sums of one point's taps, column by column first. `RowCount`: 0 if `rowCount` is
/// another number than those known.
template <bool IsGuarded, std::size_t RowCount>
HWY_INLINE FourPixels SumBlock(const float* pixels, std::ptrdiff_t stride,
                               const float* columnWeights, std::size_t columnCount,
                               const float* rowWeights, std::size_t rowCount) {
    FourPixels sums = MakeZero();
    for (std::size_t k = 0; k < columnCount; k += 4) {
        for (std::size_t part = 0; part < PartCount; ++part) {
            const float* from = pixels + k * 4 + part * FloatCount;
            PixelLanes sum =
                Weigh<IsGuarded>(PixelLanes::Load(from), PixelLanes::All(rowWeights[0]));
            for (std::size_t row = 1; row < (RowCount != 0 ? RowCount : rowCount); ++row) {
                from += stride;
                sum = sum +
                      Weigh<IsGuarded>(PixelLanes::Load(from), PixelLanes::All(rowWeights[row]));
            }
            sum = Weigh<IsGuarded>(sum, SpreadNumbers(columnWeights + k, part * FloatCount / 4));
            sums.parts[part] = sums.parts[part] + sum;
        }
    }
    return sums;
}

/// The taps of a row of points, and which of them lie in the source.
struct PlacedPoints {
    const PictureBlock& block;
    const PhaseTable& columns;
    const PhaseTable& rows;
    const TapPlaces& x;
    const TapPlaces& y;
    std::size_t count;

    static bool IsInside(int first, std::size_t length, int size) noexcept {
        return first >= 0 && first + static_cast<int>(length) < size;
    }
    bool IsInside(std::size_t i) const noexcept {
        return IsInside(x.first[i], columns.GetCount(), block.GetWidth()) &&
               IsInside(y.first[i], rows.GetCount(), block.GetHeight());
    }
    /// Points lie along a line, so it is enough to look at both ends.
    bool AreInside() const noexcept { return IsInside(0) && IsInside(count - 1); }
};

template <bool IsGuarded, std::size_t RowCount>
HWY_INLINE FourPixels SumPlace(const PlacedPoints& points, std::size_t i, bool isCut) {
    const auto& [block, columns, rows, x, y, count] = points;
    float columnWeights[PhaseTable::MaximumCount + 16];
    float rowWeights[PhaseTable::MaximumCount + 16];
    FindWeights(columns, x.phases[i], columnWeights);
    FindWeights(rows, y.phases[i], rowWeights);
    if (isCut) {
        CutWeights(x.first[i], block.GetWidth(), block.GetLastShareX(), columns.GetCount(),
                   columnWeights);
        CutWeights(y.first[i], block.GetHeight(), block.GetLastShareY(), rows.GetCount(),
                   rowWeights);
    }
    return SumBlock<IsGuarded, RowCount>(block.At(x.first[i], y.first[i]), block.GetStride(),
                                         columnWeights, columns.GetCount(), rowWeights,
                                         rows.GetCount());
}

template <bool IsGuarded, std::size_t RowCount>
HWY_INLINE void FilterPlaces(const PlacedPoints& points, float* rgba) {
    const bool isCut = !points.AreInside();
    for (std::size_t i = 0; i < points.count; i += 4) {
        FourPixels sums[4];
        for (std::size_t j = 0; j < 4; ++j) {
            const std::size_t at = std::min(i + j, points.count - 1);
            sums[j] = SumPlace<IsGuarded, RowCount>(points, at, isCut && !points.IsInside(at));
        }
        StoreFour(AddUp(sums), rgba + i * 4);
    }
}

/// Mixes two vectors by the share of the second.
HWY_INLINE PixelLanes Mix(PixelLanes first, PixelLanes second, PixelLanes share) {
    return first + (second - first) * share;
}

/// A pixel from each of as many places as a vector has pixels, mixed from that place, the next in
/// its row and those in the row below, `stride` floats on. `right` and `down`: the shares of the
/// next, and of those below, four at most.
HWY_INLINE PixelLanes MixFours(const float* origin, const std::int32_t* offsets,
                               std::ptrdiff_t stride, const float* right, const float* down) {
#if HWY_TARGET == HWY_SCALAR || HWY_MAX_BYTES == 16
    const PixelLanes shares = PixelLanes::All(*down);
    const auto mix = [&](const float* from) HWY_ATTR {
        return Mix(PixelLanes::Load(from), PixelLanes::Load(from + stride), shares);
    };
    // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): there is a point at least
    const float* const from = origin + *offsets;
    return Mix(mix(from), mix(from + 4), PixelLanes::All(*right));
#else
    // Pairs of pixels side by side are loaded at once: those of the first place and, if there are
    // four, the third, and those of the second and the fourth.
    const auto load = [&](std::size_t place, std::ptrdiff_t row) HWY_ATTR {
#if HWY_MAX_BYTES == 32
        return PixelLanes::Load(origin + offsets[place] + row);
#else
        const hn::FixedTag<float, 8> pair;
        return PixelLanes{hn::Combine(PixelTag(),
                                      hn::LoadU(pair, origin + offsets[place + 2] + row),
                                      hn::LoadU(pair, origin + offsets[place] + row))};
#endif
    };
    const auto spread = SpreadNumbers(down, 0).v;
    const auto swapped = hn::SwapAdjacentBlocks(spread);
    const auto odd = Mix(load(0, 0), load(0, stride), {hn::OddEvenBlocks(swapped, spread)}).v;
    const auto even = Mix(load(1, 0), load(1, stride), {hn::OddEvenBlocks(spread, swapped)}).v;
    const PixelLanes left{hn::OddEvenBlocks(hn::SwapAdjacentBlocks(even), odd)};
    const PixelLanes next{hn::OddEvenBlocks(even, hn::SwapAdjacentBlocks(odd))};
    return Mix(left, next, SpreadNumbers(right, 0));
#endif
}

/// Two taps along each axis: the common case, where the weights are the phases themselves.
HWY_INLINE void FilterBetweenFour(const PlacedPoints& points, float* rgba) {
    const PictureBlock& block = points.block;
    const Rect& rect = block.GetRect();
    const float* const origin = block.At(rect.left, rect.top);
    const std::ptrdiff_t stride = block.GetStride();
    std::int32_t offsets[TileWidth + PointPadding];
    for (std::size_t i = 0; i < points.count + PointPadding; ++i) {
        offsets[i] = (points.y.first[i] - rect.top) * static_cast<std::int32_t>(stride) +
                     (points.x.first[i] - rect.left) * 4;
    }
    for (std::size_t i = 0; i < points.count; i += FloatCount / 4) {
        MixFours(origin, offsets + i, stride, points.x.phases + i, points.y.phases + i)
            .Store(rgba + i * 4);
    }
    if (points.AreInside()) {
        return;
    }
    for (std::size_t i = 0; i < points.count; ++i) {
        if (!points.IsInside(i)) {
            const FourPixels sum = SumPlace<false, 2>(points, i, true);
            const FourPixels four[] = {sum, sum, sum, sum};
            float result[16];
            StoreFour(AddUp(four), result);
            std::copy_n(result, 4, rgba + i * 4);
        }
    }
}

template <bool IsGuarded>
HWY_INLINE void FilterByTables(const PictureBlock& block, const PhaseTable& columns,
                               const PhaseTable& rows, const FilterPoints& points, float* rgba) {
    TapPlaces x;
    TapPlaces y;
    FindPlaces(points.x, points.count, points.scaleX, block.GetWidth(), columns.GetReach(), x);
    FindPlaces(points.y, points.count, points.scaleY, block.GetHeight(), rows.GetReach(), y);
    const PlacedPoints placed{block, columns, rows, x, y, points.count};
    if (!IsGuarded && rows.GetCount() == 2 && columns.GetCount() == 2) {
        return FilterBetweenFour(placed, rgba);
    }
    switch (rows.GetCount()) {  // those of samplers where nothing shrinks
        case 4:
            return FilterPlaces<IsGuarded, 4>(placed, rgba);
        case 6:
            return FilterPlaces<IsGuarded, 6>(placed, rgba);
        default:
            return FilterPlaces<IsGuarded, 0>(placed, rgba);
    }
}

void FilterPointsByPhases(const PictureBlock& block, const PhaseTable& columns,
                          const PhaseTable& rows, const FilterPoints& points, bool isGuarded,
                          float* rgba) {
    if (isGuarded) {
        FilterByTables<true>(block, columns, rows, points, rgba);
    } else {
        FilterByTables<false>(block, columns, rows, points, rgba);
    }
}

/// The weights of `count` taps in a row. `x` and `y` are the offset of the first tap.
HWY_INLINE void FindKernelWeights(const Footprint& footprint, const float* kernel, double x,
                                  double y, std::size_t count, float* weights) {
    const hn::ScalableTag<float> tag;
    const hn::RebindToSigned<decltype(tag)> integers;
    const auto find = [&](double alongX, double alongY, std::size_t k) HWY_ATTR {
        const auto start =
            hn::Set(tag, static_cast<float>((alongX * x + alongY * y) * KernelTable::Steps));
        const auto step = hn::Set(tag, static_cast<float>(alongX * KernelTable::Steps));
        const auto at = hn::Add(hn::Set(tag, static_cast<float>(k)), hn::Iota(tag, 0));
        const auto place = hn::Abs(hn::Add(start, hn::Mul(at, step)));
        const auto index =
            hn::Min(hn::Add(place, hn::Set(tag, 0.5F)), hn::Set(tag, float{KernelTable::Steps}));
        return hn::GatherIndex(tag, kernel, hn::ConvertTo(integers, index));
    };
    for (std::size_t k = 0; k < count; k += hn::Lanes(tag)) {
        hn::StoreU(
            hn::Mul(find(footprint.xx, footprint.xy, k), find(footprint.yx, footprint.yy, k)), tag,
            weights + k);
    }
}

/// The parts of `count` pixels in a row that lie in an image of a pixel: the mean of its height
/// over each, in a few places between where it begins and ends.
HWY_INLINE void FindImageWeights(const Footprint::Image& image, double x, double y,
                                 std::size_t count, float* weights) {
    constexpr int Places = 8;
    const hn::ScalableTag<float> tag;
    const auto all = [&](double value) HWY_ATTR { return hn::Set(tag, static_cast<float>(value)); };
    for (std::size_t k = 0; k < count; k += hn::Lanes(tag)) {
        const auto left =
            hn::Add(all(x - 0.5), hn::Add(all(static_cast<double>(k)), hn::Iota(tag, 0)));
        const auto begin = hn::Max(left, all(-image.halfWidth));
        const auto end = hn::Min(hn::Add(left, all(1)), all(image.halfWidth));
        const auto step = hn::Mul(hn::Max(hn::Sub(end, begin), all(0)), all(1.0 / Places));
        auto at = hn::Add(begin, hn::Mul(step, all(0.5)));
        auto sum = all(0);
        for (int i = 0; i < Places; ++i) {
            const auto one = hn::Mul(at, all(image.slopes[0]));
            const auto other = hn::Mul(at, all(image.slopes[1]));
            const auto top = hn::Max(
                hn::Max(hn::Sub(one, all(image.halves[0])), hn::Sub(other, all(image.halves[1]))),
                all(y - 0.5));
            const auto bottom = hn::Min(
                hn::Min(hn::Add(one, all(image.halves[0])), hn::Add(other, all(image.halves[1]))),
                all(y + 0.5));
            sum = hn::Add(sum, hn::Max(hn::Sub(bottom, top), all(0)));
            at = hn::Add(at, step);
        }
        hn::StoreU(hn::Mul(sum, step), tag, weights + k);
    }
}

/// Narrows `begin` and `end` to where offset + slope * x is within -1 and 1.
inline void Narrow(double offset, double slope, double& begin, double& end) {
    if (std::fabs(slope) < 1e-12) {
        end = std::fabs(offset) < 1 ? end : begin - 1;
        return;
    }
    const double one = (-1 - offset) / slope;
    const double other = (1 - offset) / slope;
    begin = std::max(begin, std::min(one, other));
    end = std::min(end, std::max(one, other));
}

template <bool IsGuarded>
HWY_INLINE void FilterPoint(const PictureBlock& block, const Footprint& footprint,
                            const float* kernel, double x, double y, float* rgba) {
    constexpr int Most = 64;
    float weights[Most + 16];
    FourPixels sums = MakeZero();
    float whole = 0;
    const int top = static_cast<int>(std::max(0.0, std::ceil(y - footprint.reachY)));
    const int bottom =
        static_cast<int>(std::min(block.GetHeight() - 1.0, std::floor(y + footprint.reachY)));
    for (int row = top; row <= bottom; ++row) {
        const double u = footprint.xy * (row - y);
        const double v = footprint.yy * (row - y);
        double begin = -x;
        double end = block.GetWidth() - 1 - x;
        Narrow(u, footprint.xx, begin, end);
        Narrow(v, footprint.yx, begin, end);
        if (begin > end) {
            continue;
        }
        const int last = static_cast<int>(std::floor(end + x));
        for (int first = static_cast<int>(std::ceil(begin + x)); first <= last; first += Most) {
            const int count = std::min(Most, last - first + 1);
            const auto length = static_cast<std::size_t>(count);
            if (kernel != nullptr) {
                FindKernelWeights(footprint, kernel, first - x, row - y, length, weights);
            } else {
                FindImageWeights(*footprint.image, first - x, row - y, length, weights);
            }
            const std::size_t paddedCount = (length + 3) / 4 * 4;
            std::fill(weights + length, weights + paddedCount, 0.0F);
            if (row == block.GetHeight() - 1) {
                for (int k = 0; k < count; ++k) {
                    weights[k] *= block.GetLastShareY();
                }
            }
            if (first + count == block.GetWidth()) {
                weights[count - 1] *= block.GetLastShareX();
            }
            for (std::size_t k = 0; k < paddedCount; k += 4) {
                whole += (weights[k] + weights[k + 1]) + (weights[k + 2] + weights[k + 3]);
            }
            const FourPixels more = SumTaps<IsGuarded>(block.At(first, row), weights, paddedCount);
            for (std::size_t part = 0; part < PartCount; ++part) {
                sums.parts[part] = sums.parts[part] + more.parts[part];
            }
        }
    }
    // In a corner of the source a stretched kernel with negative lobes may keep next to nothing.
    const double full = 1 / std::fabs(footprint.xx * footprint.yy - footprint.xy * footprint.yx);
    if (!(whole > (kernel != nullptr ? 0.005 * full : 0))) {
        const auto clampTo = [](double at, int size) {
            return static_cast<int>(std::clamp(std::round(at), 0.0, size - 1.0));
        };
        std::copy_n(block.At(clampTo(x, block.GetWidth()), clampTo(y, block.GetHeight())), 4, rgba);
        return;
    }
    const FourPixels four[] = {sums, sums, sums, sums};
    float result[16];
    StoreFour(AddUp(four), result);
    for (std::size_t i = 0; i < 4; ++i) {
        rgba[i] = result[i] / whole;
    }
}

void FilterPointsByKernel(const PictureBlock& block, const Footprint& footprint,
                          const float* kernel, const FilterPoints& points, bool isGuarded,
                          float* rgba) {
    // An image has pixels in the source even if its centre has not.
    const double beyond = footprint.image ? HUGE_VAL : 0;
    for (std::size_t i = 0; i < points.count; ++i) {
        const double x =
            std::clamp(points.x[i] * points.scaleX, -beyond, block.GetWidth() + beyond) - 0.5;
        const double y =
            std::clamp(points.y[i] * points.scaleY, -beyond, block.GetHeight() + beyond) - 0.5;
        if (isGuarded) {
            FilterPoint<true>(block, footprint, kernel, x, y, rgba + i * 4);
        } else {
            FilterPoint<false>(block, footprint, kernel, x, y, rgba + i * 4);
        }
    }
}

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Raster {

HWY_EXPORT(InterpolatePoints);
HWY_EXPORT(FilterPointsByPhases);
HWY_EXPORT(FilterPointsByKernel);

void Interpolate(double start, double step, double first, std::size_t count,
                 double* points) noexcept {
    HWY_DYNAMIC_DISPATCH(InterpolatePoints)(start, step, first, count, points);
}

void FilterByPhases(const PictureBlock& block, const PhaseTable& columns, const PhaseTable& rows,
                    const FilterPoints& points, bool isGuarded, float* rgba) noexcept {
    HWY_DYNAMIC_DISPATCH(FilterPointsByPhases)(block, columns, rows, points, isGuarded, rgba);
}

void FilterByKernel(const PictureBlock& block, const Footprint& footprint, const float* kernel,
                    const FilterPoints& points, bool isGuarded, float* rgba) noexcept {
    HWY_DYNAMIC_DISPATCH(FilterPointsByKernel)(block, footprint, kernel, points, isGuarded, rgba);
}

}  // namespace Raster
#endif
