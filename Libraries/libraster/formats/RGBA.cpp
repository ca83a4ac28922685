#include "Raster/ChannelParams.h"

#include "formats/DirectConversions.h"
#include "formats/FragmentText.h"
#include "formats/HostFormatObjects.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "formats/RGBA.cpp"
#include "formats/Highway.h"
#include "formats/SpanLoops.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

void ReadRGBA8(const void* source, float* rgba, std::size_t count) {
    ReadSpan<ConvertComponents<std::uint8_t, float>>(source, rgba, count);
}
void WriteRGBA8(const float* rgba, void* destination, std::size_t count) {
    WriteSpan<ConvertComponents<float, std::uint8_t>>(rgba, destination, count);
}
void ReadRGBA16(const void* source, float* rgba, std::size_t count) {
    ReadSpan<ConvertComponents<std::uint16_t, float>>(source, rgba, count);
}
void WriteRGBA16(const float* rgba, void* destination, std::size_t count) {
    WriteSpan<ConvertComponents<float, std::uint16_t>>(rgba, destination, count);
}

HWY_INLINE bool IsOpaqueRow(const std::byte* row, std::size_t width) {
    const Words alphas = hn::Set(WordTag(), 0xFF000000U);
    Words all = alphas;
    std::size_t x = 0;
    for (; x + LaneCount <= width; x += LaneCount) {
        all = hn::And(all, LoadWords<std::uint32_t>(row + x * 4));
    }
    bool isOpaque = hn::AllTrue(WordTag(), hn::Eq(all, alphas));
    for (; x < width; ++x) {
        isOpaque = isOpaque && row[x * 4 + 3] == std::byte{255};
    }
    return isOpaque;
}

/// LaneCount components as premultiplied values of 0..255. `place` is the index of the first one in
/// its row.
template <bool IsOpaque>
HWY_INLINE Floats LoadPremultiplied(const std::byte* from, [[maybe_unused]] std::size_t place) {
    const Floats samples = ToFloats(LoadWords<std::uint8_t>(from));
    if constexpr (IsOpaque) {
        return samples;
    } else {
#if HWY_TARGET == HWY_SCALAR
        const Floats alpha = ToFloats(LoadWords<std::uint8_t>(from + (place | 3) - place));
        return place % 4 == 3 ? samples : samples * DivideByLargest<std::uint8_t>(alpha);
#else
        const Floats alpha = hn::Broadcast<3>(samples.v);
        const Words component = hn::And(hn::Iota(WordTag(), 0), hn::Set(WordTag(), 3));
        return Select(hn::RebindMask(FloatTag(), hn::Eq(component, hn::Set(WordTag(), 3))), samples,
                      samples * DivideByLargest<std::uint8_t>(alpha));
#endif
    }
}

template <bool IsOpaque>
HWY_INLINE void BlendRows(const void* const* rows, const float* weights, std::size_t count,
                          float* rgba, std::size_t width) {
    const std::size_t size = width * 4;
    std::size_t i = 0;
    const auto blend = [&](std::size_t offset) HWY_ATTR {
        Floats sum = 0.0f;
        for (std::size_t k = 0; k < count; ++k) {
            const auto* from = static_cast<const std::byte*>(rows[k]) + offset;
            sum = sum + LoadPremultiplied<IsOpaque>(from, offset) * weights[k];
        }
        return sum * (1.0f / 255.0f);
    };
    for (; i + LaneCount <= size; i += LaneCount) {
        hn::StoreU(blend(i).v, FloatTag(), rgba + i);
    }
    if constexpr (LaneCount > 1) {
        alignas(64) float sums[LaneCount] = {};
        for (std::size_t k = 0; k < count && i < size; ++k) {
            alignas(64) std::byte rest[LaneCount] = {};
            std::memcpy(rest, static_cast<const std::byte*>(rows[k]) + i, size - i);
            const Floats sum = hn::Load(FloatTag(), sums);
            hn::Store((sum + LoadPremultiplied<IsOpaque>(rest, 0) * weights[k]).v, FloatTag(),
                      sums);
        }
        const Floats sum = hn::Load(FloatTag(), sums);
        hn::Store((sum * (1.0f / 255.0f)).v, FloatTag(), sums);
        std::memcpy(rgba + i, sums, (size - i) * sizeof(float));
    }
}

void BlendRowsRGBA8(const void* const* rows, const float* weights, std::size_t count, float* rgba,
                    std::size_t width) {
    bool isOpaque = true;
    for (std::size_t i = 0; i < count && isOpaque; ++i) {
        isOpaque = IsOpaqueRow(static_cast<const std::byte*>(rows[i]), width);
    }
    if (isOpaque) {
        BlendRows<true>(rows, weights, count, rgba, width);
    } else {
        BlendRows<false>(rows, weights, count, rgba, width);
    }
}

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Raster {
namespace {

RASTER_DISPATCH_SPANS(RGBA8)
RASTER_DISPATCH_SPANS(RGBA16)
RASTER_DISPATCH(BlendRowsRGBA8,
                (const void* const* rows, const float* weights, std::size_t count, float* rgba,
                 std::size_t width),
                (rows, weights, count, rgba, width))

void ReadRGBAF(const void* source, float* rgba, std::size_t count) {
    std::memcpy(rgba, source, count * 4 * sizeof(float));
}
void WriteRGBAF(const float* rgba, void* destination, std::size_t count) {
    std::memcpy(destination, rgba, count * 4 * sizeof(float));
}

constexpr auto ReadRGBA8Text = JoinText(FragmentStart, R"(
float4 ReadPixel(__global const uchar* p) { return convert_float4(vload4(0, p)) / 255.0f; }
)");
constexpr auto ReadRGBA16Text = JoinText(FragmentStart, R"(
float4 ReadPixel(__global const uchar* p) {
    return convert_float4(vload4(0, (__global const ushort*)p)) / 65535.0f;
}
)");
constexpr auto ReadRGBAFText = JoinText(R"(
float4 ReadPixel(__global const uchar* p) { return vload4(0, (__global const float*)p); }
)");

constexpr auto WriteRGBA8Text = JoinText(FragmentStart, R"(
void WritePixel(float4 v, __global uchar* p) {
    vstore4(convert_uchar4(ROUND(ClampUnits(v) * 255.0f)), 0, p);
}
)");
constexpr auto WriteRGBA16Text = JoinText(FragmentStart, R"(
void WritePixel(float4 v, __global uchar* p) {
    vstore4(convert_ushort4(ROUND(ClampUnits(v) * 65535.0f)), 0, (__global ushort*)p);
}
)");
constexpr auto WriteRGBAFText = JoinText(R"(
void WritePixel(float4 v, __global uchar* p) { vstore4(v, 0, (__global float*)p); }
)");

constexpr auto MaskRGBA8Text = JoinText(R"(
float ReadMask(__global const uchar* p) { return p[3] / 255.0f; }
)");
constexpr auto MaskRGBA16Text = JoinText(R"(
float ReadMask(__global const uchar* p) { return ((__global const ushort*)p)[3] / 65535.0f; }
)");
constexpr auto MaskRGBAFText = JoinText(FragmentStart, R"(
float ReadMask(__global const uchar* p) { return ClampUnit(((__global const float*)p)[3]); }
)");

}  // namespace

constinit const PixelFormat RGBA8Format = MakeHostFormat<Format::RGBA8>(
    WithFragments<ReadRGBA8Text, WriteRGBA8Text, MaskRGBA8Text>({.read = ReadRGBA8,
                                                                 .write = WriteRGBA8,
                                                                 .directConversions = IntoRGBA8,
                                                                 .blendRows = BlendRowsRGBA8}));

constinit const PixelFormat RGBA16Format =
    MakeHostFormat<Format::RGBA16>(WithFragments<ReadRGBA16Text, WriteRGBA16Text, MaskRGBA16Text>(
        {.read = ReadRGBA16, .write = WriteRGBA16, .directConversions = IntoRGBA16}));

constinit const PixelFormat RGBAFFormat =
    MakeHostFormat<Format::RGBAF>(WithFragments<ReadRGBAFText, WriteRGBAFText, MaskRGBAFText>(
        {.read = ReadRGBAF, .write = WriteRGBAF, .directConversions = IntoRGBAF}));

}  // namespace Raster
#endif
