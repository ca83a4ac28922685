#include "tensorformats/TensorKernels.h"

#include <cstdint>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "tensorformats/TensorKernels.cpp"
#include "tensorformats/Highway.h"

HWY_BEFORE_NAMESPACE();
namespace Learning::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::ScalableTag<float>;
using Single = hn::CappedTag<float, 1>;

template <class D>
using Words = hn::RebindToUnsigned<D>;

/// Calls `loop(tag, i)` for runs of lanes that begin at `i`, and for single lanes at the end.
template <class Loop>
HWY_INLINE void ForLanes(std::size_t count, const Loop& loop) {
    constexpr Floats Wide;
    std::size_t i = 0;
    for (; i + hn::Lanes(Wide) <= count; i += hn::Lanes(Wide)) {
        loop(Wide, i);
    }
    for (; i < count; ++i) {
        loop(Single(), i);
    }
}

// --- between pixels and planes ---

void SplitPixels(const float* pixels, std::size_t channelCount, std::size_t count,
                 const std::array<float*, 4>& planes) {
    const bool isTriple = channelCount == 3;
    ForLanes(count, [&](auto d, std::size_t i) HWY_ATTR {
        hn::Vec<decltype(d)> r, g, b, a;
        if (isTriple) {
            hn::LoadInterleaved3(d, pixels + 3 * i, r, g, b);
        } else {
            hn::LoadInterleaved4(d, pixels + 4 * i, r, g, b, a);
            hn::StoreU(a, d, planes[3] + i);
        }
        hn::StoreU(r, d, planes[0] + i);
        hn::StoreU(g, d, planes[1] + i);
        hn::StoreU(b, d, planes[2] + i);
    });
}

void JoinPixels(const std::array<const float*, 4>& planes, std::size_t channelCount,
                std::size_t count, float* pixels) {
    const bool isTriple = channelCount == 3;
    ForLanes(count, [&](auto d, std::size_t i) HWY_ATTR {
        const auto r = hn::LoadU(d, planes[0] + i);
        const auto g = hn::LoadU(d, planes[1] + i);
        const auto b = hn::LoadU(d, planes[2] + i);
        if (isTriple) {
            hn::StoreInterleaved3(r, g, b, d, pixels + 3 * i);
        } else {
            hn::StoreInterleaved4(r, g, b, hn::LoadU(d, planes[3] + i), d, pixels + 4 * i);
        }
    });
}

// --- planes ---

void MixLuma(const std::array<float*, 4>& planes, std::size_t count, float* luma) {
    ForLanes(count, [&](auto d, std::size_t i) HWY_ATTR {
        const auto weigh = [&](int channel, float weight) HWY_ATTR {
            return hn::Mul(hn::Set(d, weight), hn::LoadU(d, planes[channel] + i));
        };
        const auto sum = hn::Add(hn::Add(weigh(0, 0.299F), weigh(1, 0.587F)), weigh(2, 0.114F));
        hn::StoreU(sum, d, luma + i);
    });
}

/// A mapping in all lanes. Products and sums are rounded one by one, as everywhere.
template <class D>
class LaneMapping {
public:
    using V = hn::Vec<D>;

    HWY_INLINE LaneMapping(D d, const ChannelMapping& mapping)
        : m_range(hn::Set(d, mapping.range)),
          m_mean(hn::Set(d, mapping.mean)),
          m_deviation(hn::Set(d, mapping.deviation)) {}

    HWY_INLINE V Map(V v) const {
        return hn::Div(hn::Sub(hn::Mul(v, m_range), m_mean), m_deviation);
    }
    HWY_INLINE V Unmap(V v) const {
        return hn::Div(hn::Add(hn::Mul(v, m_deviation), m_mean), m_range);
    }

private:
    V m_range;
    V m_mean;
    V m_deviation;
};

void MapSamples(const float* samples, const ChannelMapping& mapping, std::size_t count,
                float* mapped) {
    ForLanes(count, [&](auto d, std::size_t i) HWY_ATTR {
        hn::StoreU(LaneMapping(d, mapping).Map(hn::LoadU(d, samples + i)), d, mapped + i);
    });
}

void UnmapSamples(const float* mapped, const ChannelMapping& mapping, std::size_t count,
                  float* samples) {
    ForLanes(count, [&](auto d, std::size_t i) HWY_ATTR {
        hn::StoreU(LaneMapping(d, mapping).Unmap(hn::LoadU(d, mapped + i)), d, samples + i);
    });
}

// --- between bytes and planes ---

/// Whether whole vectors may be written around the cache from there on.
bool IsAligned(const void* row) {
    return reinterpret_cast<std::uintptr_t>(row) % (hn::Lanes(Floats()) * sizeof(float)) == 0;
}

template <bool IsStreamed, class D, class V>
HWY_INLINE void StoreLanes(V v, D d, hn::TFromD<D>* target) {
    if constexpr (IsStreamed && hn::MaxLanes(D()) > 1) {
        hn::Stream(v, d, target);
    } else {
        hn::StoreU(v, d, target);
    }
}

/// A whole number of 0..255 over 255: as 1/255 is 1/256 and a 255th of that, and the first product
/// is exact, the sum equals the rounded division for each of these numbers.
template <class D>
HWY_INLINE hn::Vec<D> DivideBy255(D d, hn::Vec<D> v) {
    const auto most = hn::Mul(v, hn::Set(d, 1.0F / 256));
    return hn::Add(most, hn::Mul(most, hn::Set(d, 1.0F / 255)));
}

/// The byte for 0..1, half away from zero: the constant is the float below a half, which gives that
/// result for every float. What is no number becomes 0.
template <class D>
HWY_INLINE hn::Vec<Words<D>> RoundToByte(D d, hn::Vec<D> v) {
    const auto positive = hn::IfThenElseZero(hn::Gt(v, hn::Zero(d)), v);
    const auto unit = hn::Min(positive, hn::Set(d, 1.0F));
    const auto scaled = hn::Add(hn::Mul(unit, hn::Set(d, 255.0F)), hn::Set(d, 0x1.FFFFFEp-2F));
    return hn::BitCast(Words<D>(), hn::ConvertTo(hn::RebindToSigned<D>(), scaled));
}

template <int Shift, class D>
HWY_INLINE hn::Vec<D> GetByte(D d, hn::Vec<Words<D>> pixels) {
    const Words<D> words;
    const auto bytes = hn::And(hn::ShiftRight<Shift>(pixels), hn::Set(words, 0xFFU));
    return hn::ConvertTo(d, hn::BitCast(hn::RebindToSigned<D>(), bytes));
}

using Mappings = std::array<ChannelMapping, 3>;

// Deliberate: the pointers come by value. Behind a reference they would be read again after every
// store, which might have changed them for all the compiler knows.
template <bool IsMapped, bool IsStreamed>
void ConvertRowToPlanes(const std::uint32_t* pixels, std::array<float*, 3> planes,
                        const Mappings& mappings, std::size_t width) {
    ForLanes(width, [&](auto d, std::size_t i) HWY_ATTR {
        const auto four = hn::LoadU(Words<decltype(d)>(), pixels + i);
        const auto put = [&](auto bytes, std::size_t channel) HWY_ATTR {
            auto v = DivideBy255(d, bytes);
            if constexpr (IsMapped) {
                v = LaneMapping(d, mappings[channel]).Map(v);
            }
            StoreLanes<IsStreamed>(v, d, planes[channel] + i);
        };
        put(GetByte<0>(d, four), 0);
        put(GetByte<8>(d, four), 1);
        put(GetByte<16>(d, four), 2);
    });
}

template <bool IsMapped, bool IsStreamed>
void ConvertRowToBytes(std::array<float*, 3> planes, const Mappings& mappings,
                       std::uint32_t* pixels, std::size_t width) {
    ForLanes(width, [&](auto d, std::size_t i) HWY_ATTR {
        const auto get = [&](std::size_t channel) HWY_ATTR {
            auto v = hn::LoadU(d, planes[channel] + i);
            if constexpr (IsMapped) {
                v = LaneMapping(d, mappings[channel]).Unmap(v);
            }
            return RoundToByte(d, v);
        };
        const Words<decltype(d)> words;
        const auto red = hn::Or(get(0), hn::Set(words, 0xFF000000U));
        const auto others = hn::Or(hn::ShiftLeft<8>(get(1)), hn::ShiftLeft<16>(get(2)));
        StoreLanes<IsStreamed>(hn::Or(red, others), words, pixels + i);
    });
}

using ToPlanes = decltype(&ConvertRowToPlanes<false, false>);
using ToBytes = decltype(&ConvertRowToBytes<false, false>);

bool IsIdentity(const Mappings& mappings) {
    bool isIdentity = true;
    for (const ChannelMapping& mapping : mappings) {
        isIdentity =
            isIdentity && mapping.range == 1 && mapping.mean == 0 && mapping.deviation == 1;
    }
    return isIdentity;
}

std::array<float*, 3> GetRow(const PlaneBlock& block, std::size_t y) {
    const std::ptrdiff_t offset = static_cast<std::ptrdiff_t>(y) * block.stride;
    return {block.planes[0] + offset, block.planes[1] + offset, block.planes[2] + offset};
}

void ConvertBytesToPlanes(const Raster::SourceBlock& source, const PlaneBlock& destination,
                          std::size_t width, std::size_t height, bool isLarge) {
    const bool isMapped = !IsIdentity(destination.mappings);
    const ToPlanes plain =
        isMapped ? ConvertRowToPlanes<true, false> : ConvertRowToPlanes<false, false>;
    const ToPlanes streamed =
        isMapped ? ConvertRowToPlanes<true, true> : ConvertRowToPlanes<false, true>;
    for (std::size_t y = 0; y < height; ++y) {
        const std::byte* const row = source.pixels + static_cast<std::ptrdiff_t>(y) * source.stride;
        const std::array<float*, 3> planes = GetRow(destination, y);
        const bool isAround =
            isLarge && IsAligned(planes[0]) && IsAligned(planes[1]) && IsAligned(planes[2]);
        (isAround ? streamed : plain)(reinterpret_cast<const std::uint32_t*>(row), planes,
                                      destination.mappings, width);
    }
    hwy::FlushStream();
}

void ConvertPlanesToBytes(const PlaneBlock& source, const Raster::DestinationBlock& destination,
                          std::size_t width, std::size_t height, bool isLarge) {
    const bool isMapped = !IsIdentity(source.mappings);
    const ToBytes plain =
        isMapped ? ConvertRowToBytes<true, false> : ConvertRowToBytes<false, false>;
    const ToBytes streamed =
        isMapped ? ConvertRowToBytes<true, true> : ConvertRowToBytes<false, true>;
    for (std::size_t y = 0; y < height; ++y) {
        std::byte* const row =
            destination.pixels + static_cast<std::ptrdiff_t>(y) * destination.stride;
        (isLarge && IsAligned(row) ? streamed : plain)(
            GetRow(source, y), source.mappings, reinterpret_cast<std::uint32_t*>(row), width);
    }
    hwy::FlushStream();
}

}  // namespace
}  // namespace Learning::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Learning {

namespace {

HWY_EXPORT(SplitPixels);
HWY_EXPORT(JoinPixels);
HWY_EXPORT(MixLuma);
HWY_EXPORT(MapSamples);
HWY_EXPORT(UnmapSamples);
HWY_EXPORT(ConvertBytesToPlanes);
HWY_EXPORT(ConvertPlanesToBytes);

}  // namespace

void SplitPixels(const float* pixels, std::size_t channelCount, std::size_t count,
                 const std::array<float*, 4>& planes) {
    HWY_DYNAMIC_DISPATCH(SplitPixels)(pixels, channelCount, count, planes);
}

void JoinPixels(const std::array<const float*, 4>& planes, std::size_t channelCount,
                std::size_t count, float* pixels) {
    HWY_DYNAMIC_DISPATCH(JoinPixels)(planes, channelCount, count, pixels);
}

void MixLuma(const std::array<float*, 4>& planes, std::size_t count, float* luma) {
    HWY_DYNAMIC_DISPATCH(MixLuma)(planes, count, luma);
}

void MapSamples(const float* samples, const ChannelMapping& mapping, std::size_t count,
                float* mapped) {
    HWY_DYNAMIC_DISPATCH(MapSamples)(samples, mapping, count, mapped);
}

void UnmapSamples(const float* mapped, const ChannelMapping& mapping, std::size_t count,
                  float* samples) {
    HWY_DYNAMIC_DISPATCH(UnmapSamples)(mapped, mapping, count, samples);
}

void ConvertBytesToPlanes(const Raster::SourceBlock& source, const PlaneBlock& destination,
                          std::size_t width, std::size_t height, bool isLarge) {
    HWY_DYNAMIC_DISPATCH(ConvertBytesToPlanes)(source, destination, width, height, isLarge);
}

void ConvertPlanesToBytes(const PlaneBlock& source, const Raster::DestinationBlock& destination,
                          std::size_t width, std::size_t height, bool isLarge) {
    HWY_DYNAMIC_DISPATCH(ConvertPlanesToBytes)(source, destination, width, height, isLarge);
}

}  // namespace Learning
#endif
