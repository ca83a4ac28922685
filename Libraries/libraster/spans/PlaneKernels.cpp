#include "spans/PlaneKernels.h"

#include <algorithm>
#include <cstdint>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "spans/PlaneKernels.cpp"
#include "formats/Highway.h"
#include "formats/PixelCodecs.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

/// A mapping in all lanes.
class LaneMapping {
public:
    explicit HWY_INLINE LaneMapping(const ChannelMapping& mapping)
        : m_range(mapping.range), m_mean(mapping.mean), m_deviation(mapping.deviation) {}

    HWY_INLINE Floats Map(Floats v) const { return (v * m_range - m_mean) / m_deviation; }
    HWY_INLINE Floats Unmap(Floats v) const { return (v * m_deviation + m_mean) / m_range; }

private:
    Floats m_range;
    Floats m_mean;
    Floats m_deviation;
};

// --- between samples and spans ---

/// A sample of each channel, for LaneCount pixels.
struct Samples {
    hn::Vec<FloatTag> channels[4];
};

HWY_INLINE Samples LoadLanes(const float* from, std::ptrdiff_t planeStride, std::size_t count) {
    constexpr FloatTag Tag;
    const auto zero = hn::Zero(Tag);
    Samples s{{zero, zero, zero, zero}};
    auto& c = s.channels;
    if (planeStride != 0 || count == 1) {
        for (std::size_t i = 0; i < count; ++i, from += planeStride) {
            c[i] = hn::LoadU(Tag, from);
        }
    } else if (count == 2) {
        hn::LoadInterleaved2(Tag, from, c[0], c[1]);
    } else if (count == 3) {
        hn::LoadInterleaved3(Tag, from, c[0], c[1], c[2]);
    } else {
        hn::LoadInterleaved4(Tag, from, c[0], c[1], c[2], c[3]);
    }
    return s;
}

HWY_INLINE void StoreLanes(const Samples& s, float* to, std::ptrdiff_t planeStride,
                           std::size_t count) {
    constexpr FloatTag Tag;
    const auto& c = s.channels;
    if (planeStride != 0 || count == 1) {
        for (std::size_t i = 0; i < count; ++i, to += planeStride) {
            hn::StoreU(c[i], Tag, to);
        }
    } else if (count == 2) {
        hn::StoreInterleaved2(c[0], c[1], Tag, to);
    } else if (count == 3) {
        hn::StoreInterleaved3(c[0], c[1], c[2], Tag, to);
    } else {
        hn::StoreInterleaved4(c[0], c[1], c[2], c[3], Tag, to);
    }
}

/// LaneCount pixels.
HWY_INLINE void ReadLanes(const ConstPlaneView& view, const float* from, std::ptrdiff_t planeStride,
                          float* rgba) {
    const Samples samples = LoadLanes(from, planeStride, view.channelCount);
    Pixels p{0.0f, 0.0f, 0.0f, 1.0f};
    for (std::size_t i = 0; i < view.channelCount; ++i) {
        const auto& [role, mapping] = view.channels[i];
        const Floats v = LaneMapping(mapping).Unmap(samples.channels[i]);
        switch (role) {
            case PlaneChannel::Role::Red:
                p.r = v;
                break;
            case PlaneChannel::Role::Green:
                p.g = v;
                break;
            case PlaneChannel::Role::Blue:
                p.b = v;
                break;
            case PlaneChannel::Role::Alpha:
                p.a = v;
                break;
            case PlaneChannel::Role::Luma:
                p.r = p.g = p.b = v;
                break;
        }
    }
    hn::StoreInterleaved4(p.r.v, p.g.v, p.b.v, p.a.v, FloatTag(), rgba);
}

HWY_INLINE Floats GetChannel(const Pixels& p, PlaneChannel::Role role) {
    switch (role) {
        case PlaneChannel::Role::Red:
            return p.r;
        case PlaneChannel::Role::Green:
            return p.g;
        case PlaneChannel::Role::Blue:
            return p.b;
        case PlaneChannel::Role::Alpha:
            return p.a;
        case PlaneChannel::Role::Luma:
            break;
    }
    return ToGrey(p);
}

HWY_INLINE void WriteLanes(const float* rgba, const ConstPlaneView& view, HiddenColours hidden,
                           float* to, std::ptrdiff_t planeStride) {
    hn::Vec<FloatTag> r;
    hn::Vec<FloatTag> g;
    hn::Vec<FloatTag> b;
    hn::Vec<FloatTag> a;
    hn::LoadInterleaved4(FloatTag(), rgba, r, g, b, a);
    const auto zero = hn::Zero(FloatTag());
    if (hidden == HiddenColours::Clear) {
        const auto isVisible = hn::Gt(a, zero);
        r = hn::IfThenElseZero(isVisible, r);
        g = hn::IfThenElseZero(isVisible, g);
        b = hn::IfThenElseZero(isVisible, b);
        a = hn::IfThenElseZero(isVisible, a);
    }
    Samples samples{{zero, zero, zero, zero}};
    for (std::size_t i = 0; i < view.channelCount; ++i) {
        const auto& [role, mapping] = view.channels[i];
        samples.channels[i] = LaneMapping(mapping).Map(GetChannel({r, g, b, a}, role)).v;
    }
    StoreLanes(samples, to, planeStride, view.channelCount);
}

/// How far the samples of neighbouring pixels lie apart.
HWY_INLINE std::size_t GetStep(const ConstPlaneView& view) {
    return view.planeStride != 0 ? 1 : view.channelCount;
}

/// For fewer than LaneCount pixels: between memory and a copy whose planes have LaneCount samples.
/// `copy(samples, copied, size)` does it for each run of neighbouring samples.
template <class Sample, class Copy>
HWY_INLINE void CopyRest(const ConstPlaneView& view, Sample* samples, float* copied,
                         std::size_t count, const Copy& copy) {
    const std::size_t runs = view.planeStride != 0 ? view.channelCount : 1;
    for (std::size_t i = 0; i < runs; ++i) {
        copy(samples + static_cast<std::ptrdiff_t>(i) * view.planeStride, copied + i * LaneCount,
             count * GetStep(view) * sizeof(float));
    }
}
HWY_INLINE std::ptrdiff_t GetRestStride(const ConstPlaneView& view) {
    return view.planeStride != 0 ? static_cast<std::ptrdiff_t>(LaneCount) : 0;
}

void ReadPlanes(const ConstPlaneView& view, const float* samples, float* rgba, std::size_t count) {
    const std::size_t step = GetStep(view);
    std::size_t i = 0;
    for (; i + LaneCount <= count; i += LaneCount) {
        ReadLanes(view, samples + i * step, view.planeStride, rgba + 4 * i);
    }
    if (i < count) {
        alignas(64) float in[4 * LaneCount] = {};
        alignas(64) float out[4 * LaneCount];
        CopyRest(view, samples + i * step, in, count - i,
                 [](const float* memory, float* copied, std::size_t size) {
                     std::memcpy(copied, memory, size);
                 });
        ReadLanes(view, in, GetRestStride(view), out);
        std::memcpy(rgba + 4 * i, out, (count - i) * 4 * sizeof(float));
    }
}

void WritePlanes(const float* rgba, const PlaneView& view, HiddenColours hidden, float* samples,
                 std::size_t count) {
    const ConstPlaneView layout = view;
    const std::size_t step = GetStep(layout);
    std::size_t i = 0;
    for (; i + LaneCount <= count; i += LaneCount) {
        WriteLanes(rgba + 4 * i, layout, hidden, samples + i * step, layout.planeStride);
    }
    if (i < count) {
        alignas(64) float in[4 * LaneCount] = {};
        alignas(64) float out[4 * LaneCount];
        std::memcpy(in, rgba + 4 * i, (count - i) * 4 * sizeof(float));
        WriteLanes(in, layout, hidden, out, GetRestStride(layout));
        CopyRest(layout, samples + i * step, out, count - i,
                 [](float* memory, const float* copied, std::size_t size) {
                     std::memcpy(memory, copied, size);
                 });
    }
}

// --- between bytes and planes ---

/// Whether non-temporal stores, which need alignment, are possible from there on.
bool IsAligned(const void* row) {
    return reinterpret_cast<std::uintptr_t>(row) % (LaneCount * sizeof(float)) == 0;
}

using Mappings = std::array<ChannelMapping, 3>;

template <bool IsMapped, HiddenColours Hidden, class Store>
HWY_INLINE void SplitBytes(const std::byte* pixels, std::array<float*, 3> planes,
                           const Mappings& mappings) {
    Words four = LoadWords<std::uint32_t>(pixels);
    if constexpr (Hidden == HiddenColours::Clear) {
        const auto alphas = hn::And(four, hn::Set(WordTag(), 0xFF000000U));
        four = hn::IfThenZeroElse(hn::Eq(alphas, hn::Zero(WordTag())), four);
    }
    const auto put = [&](Floats v, std::size_t channel) HWY_ATTR {
        if constexpr (IsMapped) {
            v = LaneMapping(mappings[channel]).Map(v);
        }
        Store::Put(v.v, FloatTag(), planes[channel]);
    };
    put(UnpackByte<0>(four), 0);
    put(UnpackByte<8>(four), 1);
    put(UnpackByte<16>(four), 2);
}

template <bool IsMapped, class Store>
HWY_INLINE void JoinBytes(std::array<const float*, 3> planes, const Mappings& mappings,
                          std::byte* pixels) {
    const auto get = [&](std::size_t channel) HWY_ATTR {
        Floats v = hn::LoadU(FloatTag(), planes[channel]);
        if constexpr (IsMapped) {
            v = LaneMapping(mappings[channel]).Unmap(v);
        }
        return Quantise<std::uint8_t>(Clamp(v));
    };
    const Words red = hn::Or(get(0), hn::Set(WordTag(), 0xFF000000U));
    const Words others = hn::Or(hn::ShiftLeft<8>(get(1)), hn::ShiftLeft<16>(get(2)));
    StoreWords<std::uint32_t, Store>(hn::Or(red, others), pixels);
}

template <class Sample>
HWY_INLINE std::array<Sample*, 3> Advance(std::array<Sample*, 3> planes, std::ptrdiff_t by) {
    return {planes[0] + by, planes[1] + by, planes[2] + by};
}

// Deliberate: the pointers come by value. Behind a reference they would be read again after every
// store, which might have changed them for all the compiler knows.
template <bool IsMapped, HiddenColours Hidden, class Store>
void ConvertRowToPlanes(const std::byte* pixels, std::array<float*, 3> planes,
                        const Mappings& mappings, std::size_t width) {
    std::size_t i = 0;
    for (; i + LaneCount <= width; i += LaneCount) {
        SplitBytes<IsMapped, Hidden, Store>(
            pixels + 4 * i, Advance(planes, static_cast<std::ptrdiff_t>(i)), mappings);
    }
    if (i < width) {
        alignas(64) std::byte in[4 * LaneCount] = {};
        alignas(64) float out[3][LaneCount];
        std::memcpy(in, pixels + 4 * i, (width - i) * 4);
        SplitBytes<IsMapped, Hidden, Cached>(in, {out[0], out[1], out[2]}, mappings);
        for (std::size_t channel = 0; channel < 3; ++channel) {
            std::memcpy(planes[channel] + i, out[channel], (width - i) * sizeof(float));
        }
    }
}

template <bool IsMapped, class Store>
void ConvertRowToBytes(std::array<const float*, 3> planes, const Mappings& mappings,
                       std::byte* pixels, std::size_t width) {
    std::size_t i = 0;
    for (; i + LaneCount <= width; i += LaneCount) {
        JoinBytes<IsMapped, Store>(Advance(planes, static_cast<std::ptrdiff_t>(i)), mappings,
                                   pixels + 4 * i);
    }
    if (i < width) {
        alignas(64) float in[3][LaneCount] = {};
        alignas(64) std::byte out[4 * LaneCount];
        for (std::size_t channel = 0; channel < 3; ++channel) {
            std::memcpy(in[channel], planes[channel] + i, (width - i) * sizeof(float));
        }
        JoinBytes<IsMapped, Cached>({in[0], in[1], in[2]}, mappings, out);
        std::memcpy(pixels + 4 * i, out, (width - i) * 4);
    }
}

HWY_INLINE bool IsIdentity(const Mappings& mappings) {
    return std::all_of(mappings.begin(), mappings.end(), [](const ChannelMapping& mapping) {
        return mapping.range == 1 && mapping.mean == 0 && mapping.deviation == 1;
    });
}

template <HiddenColours Hidden>
void ConvertRowsToPlanes(const SourceBlock& source, const DestinationPlanes& destination,
                         std::size_t width, std::size_t height, bool isLarge) {
    const bool isMapped = !IsIdentity(destination.mappings);
    const auto plain = isMapped ? ConvertRowToPlanes<true, Hidden, Cached>
                                : ConvertRowToPlanes<false, Hidden, Cached>;
    const auto streamed = isMapped ? ConvertRowToPlanes<true, Hidden, Streamed>
                                   : ConvertRowToPlanes<false, Hidden, Streamed>;
    for (std::size_t y = 0; y < height; ++y) {
        const auto row = static_cast<std::ptrdiff_t>(y);
        const auto planes = Advance(destination.planes, row * destination.stride);
        const bool isAround = isLarge && std::all_of(planes.begin(), planes.end(), IsAligned);
        (isAround ? streamed : plain)(source.pixels + row * source.stride, planes,
                                      destination.mappings, width);
    }
    hwy::FlushStream();
}

void ConvertBytesToPlanes(const SourceBlock& source, const DestinationPlanes& destination,
                          HiddenColours hidden, std::size_t width, std::size_t height,
                          bool isLarge) {
    const auto convert = hidden == HiddenColours::Clear ? ConvertRowsToPlanes<HiddenColours::Clear>
                                                        : ConvertRowsToPlanes<HiddenColours::Keep>;
    convert(source, destination, width, height, isLarge);
}

void ConvertPlanesToBytes(const SourcePlanes& source, const DestinationBlock& destination,
                          std::size_t width, std::size_t height, bool isLarge) {
    const bool isMapped = !IsIdentity(source.mappings);
    const auto plain =
        isMapped ? ConvertRowToBytes<true, Cached> : ConvertRowToBytes<false, Cached>;
    const auto streamed =
        isMapped ? ConvertRowToBytes<true, Streamed> : ConvertRowToBytes<false, Streamed>;
    for (std::size_t y = 0; y < height; ++y) {
        const auto row = static_cast<std::ptrdiff_t>(y);
        std::byte* const pixels = destination.pixels + row * destination.stride;
        (isLarge && IsAligned(pixels) ? streamed : plain)(
            Advance(source.planes, row * source.stride), source.mappings, pixels, width);
    }
    hwy::FlushStream();
}

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Raster {

RASTER_DISPATCH(ReadPlanes,
                (const ConstPlaneView& view, const float* samples, float* rgba, std::size_t count),
                (view, samples, rgba, count))
RASTER_DISPATCH(WritePlanes,
                (const float* rgba, const PlaneView& view, HiddenColours hidden, float* samples,
                 std::size_t count),
                (rgba, view, hidden, samples, count))
RASTER_DISPATCH(ConvertBytesToPlanes,
                (const SourceBlock& source, const DestinationPlanes& destination,
                 HiddenColours hidden, std::size_t width, std::size_t height, bool isLarge),
                (source, destination, hidden, width, height, isLarge))
RASTER_DISPATCH(ConvertPlanesToBytes,
                (const SourcePlanes& source, const DestinationBlock& destination, std::size_t width,
                 std::size_t height, bool isLarge),
                (source, destination, width, height, isLarge))

}  // namespace Raster
#endif
