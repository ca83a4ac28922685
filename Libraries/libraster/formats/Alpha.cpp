#include "Raster/ChannelParams.h"

#include "formats/DirectConversions.h"
#include "formats/FragmentText.h"
#include "formats/HostFormats.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "formats/Alpha.cpp"
#include "formats/Highway.h"
#include "formats/SpanLoops.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

void ReadAlpha8(const void* source, float* rgba, std::size_t count) {
    ReadSpan<ReadPixels<AlphaCodec<std::uint8_t>>>(source, rgba, count);
}
void WriteAlpha8(const float* rgba, void* destination, std::size_t count) {
    WriteSpan<WritePixels<AlphaCodec<std::uint8_t>>>(rgba, destination, count);
}
void ReadAlpha16(const void* source, float* rgba, std::size_t count) {
    ReadSpan<ReadPixels<AlphaCodec<std::uint16_t>>>(source, rgba, count);
}
void WriteAlpha16(const float* rgba, void* destination, std::size_t count) {
    WriteSpan<WritePixels<AlphaCodec<std::uint16_t>>>(rgba, destination, count);
}
void ReadAlphaF(const void* source, float* rgba, std::size_t count) {
    ReadSpan<ReadPixels<AlphaCodec<float>>>(source, rgba, count);
}
void WriteAlphaF(const float* rgba, void* destination, std::size_t count) {
    WriteSpan<WritePixels<AlphaCodec<float>>>(rgba, destination, count);
}

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Raster {
namespace {

RASTER_DISPATCH_SPANS(Alpha8)
RASTER_DISPATCH_SPANS(Alpha16)
RASTER_DISPATCH_SPANS(AlphaF)

constexpr auto ReadAlpha8Text = JoinText(FragmentStart, R"(
float4 ReadPixel(__global const uchar* p) {
    return (float4)(0.0f, 0.0f, 0.0f, p[0] / 255.0f);
}
)");
constexpr auto ReadAlpha16Text = JoinText(FragmentStart, R"(
float4 ReadPixel(__global const uchar* p) {
    return (float4)(0.0f, 0.0f, 0.0f, *(__global const ushort*)p / 65535.0f);
}
)");
constexpr auto ReadAlphaFText = JoinText(FragmentStart, R"(
float4 ReadPixel(__global const uchar* p) {
    return (float4)(0.0f, 0.0f, 0.0f, *(__global const float*)p);
}
)");

constexpr auto WriteAlpha8Text = JoinText(FragmentStart, R"(
void WritePixel(float4 v, __global uchar* p) {
    *p = convert_uchar(ROUND(ClampUnit(v.w) * 255.0f));
}
)");
constexpr auto WriteAlpha16Text = JoinText(FragmentStart, R"(
void WritePixel(float4 v, __global uchar* p) {
    *(__global ushort*)p = convert_ushort(ROUND(ClampUnit(v.w) * 65535.0f));
}
)");
constexpr auto WriteAlphaFText = JoinText(R"(
void WritePixel(float4 v, __global uchar* p) { *(__global float*)p = v.w; }
)");

constexpr auto MaskAlpha8Text = JoinText(R"(
float ReadMask(__global const uchar* p) { return *p / 255.0f; }
)");
constexpr auto MaskAlpha16Text = JoinText(R"(
float ReadMask(__global const uchar* p) { return *(__global const ushort*)p / 65535.0f; }
)");
constexpr auto MaskAlphaFText = JoinText(FragmentStart, R"(
float ReadMask(__global const uchar* p) { return ClampUnit(*(__global const float*)p); }
)");

}  // namespace

constinit const PixelFormat Alpha8Format = MakePixelFormat<Alpha8, X2, X3, X4, X5>(
    Format::Alpha8, {.read = ReadAlpha8,
                     .write = WriteAlpha8,
                     .getSourceFragment = GetFragment<ReadAlpha8Text>,
                     .getDestFragment = GetFragment<WriteAlpha8Text>,
                     .getMaskFragment = GetFragment<MaskAlpha8Text>,
                     .directConversions = IntoAlpha8});

constinit const PixelFormat Alpha16Format = MakePixelFormat<Alpha16, X2, X3, X4, X5>(
    Format::Alpha16, {.read = ReadAlpha16,
                      .write = WriteAlpha16,
                      .getSourceFragment = GetFragment<ReadAlpha16Text>,
                      .getDestFragment = GetFragment<WriteAlpha16Text>,
                      .getMaskFragment = GetFragment<MaskAlpha16Text>});

constinit const PixelFormat AlphaFFormat = MakePixelFormat<AlphaF, X2, X3, X4, X5>(
    Format::AlphaF, {.read = ReadAlphaF,
                     .write = WriteAlphaF,
                     .getSourceFragment = GetFragment<ReadAlphaFText>,
                     .getDestFragment = GetFragment<WriteAlphaFText>,
                     .getMaskFragment = GetFragment<MaskAlphaFText>});

}  // namespace Raster
#endif
