#include "Raster/ChannelParams.h"

#include "formats/DirectConversions.h"
#include "formats/FragmentText.h"
#include "formats/HostFormatObjects.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "formats/Alpha.cpp"
#include "formats/Highway.h"
#include "formats/SpanLoops.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

RASTER_SPANS(Alpha8, AlphaCodec<std::uint8_t>)
RASTER_SPANS(Alpha16, AlphaCodec<std::uint16_t>)
RASTER_SPANS(AlphaF, AlphaCodec<float>)

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

constinit const PixelFormat Alpha8Format =
    MakeHostFormat<Format::Alpha8>(WithFragments<ReadAlpha8Text, WriteAlpha8Text, MaskAlpha8Text>(
        {.read = ReadAlpha8, .write = WriteAlpha8, .directConversions = IntoAlpha8}));

constinit const PixelFormat Alpha16Format = MakeHostFormat<Format::Alpha16>(
    WithFragments<ReadAlpha16Text, WriteAlpha16Text, MaskAlpha16Text>(
        {.read = ReadAlpha16, .write = WriteAlpha16}));

constinit const PixelFormat AlphaFFormat =
    MakeHostFormat<Format::AlphaF>(WithFragments<ReadAlphaFText, WriteAlphaFText, MaskAlphaFText>(
        {.read = ReadAlphaF, .write = WriteAlphaF}));

}  // namespace Raster
#endif
