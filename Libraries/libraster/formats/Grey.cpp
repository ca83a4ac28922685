#include "Raster/ChannelParams.h"

#include "formats/DirectConversions.h"
#include "formats/FragmentText.h"
#include "formats/HostFormatObjects.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "formats/Grey.cpp"
#include "formats/Highway.h"
#include "formats/SpanLoops.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

RASTER_SPANS(GreyA8, GreyA8Codec)
RASTER_SPANS(GreyA16, GreyA16Codec)

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Raster {
namespace {

RASTER_DISPATCH_SPANS(GreyA8)
RASTER_DISPATCH_SPANS(GreyA16)

constexpr auto ReadGreyA8Text = JoinText(FragmentStart, R"(
float4 ReadPixel(__global const uchar* p) {
    return (float4)((float3)(p[0] / 255.0f), p[1] / 255.0f);
}
)");
constexpr auto ReadGreyA16Text = JoinText(FragmentStart, R"(
float4 ReadPixel(__global const uchar* p) {
    const float2 ga = convert_float2(vload2(0, (__global const ushort*)p)) / 65535.0f;
    return ga.xxxy;
}
)");

constexpr char ToGreyText[] = R"(
float ToGrey(float4 v) { return (0.299f * v.x + 0.587f * v.y) + 0.114f * v.z; }
)";
constexpr auto WriteGreyA8Text = JoinText(FragmentStart, ToGreyText, R"(
void WritePixel(float4 v, __global uchar* p) {
    const float4 u = ClampUnits(v);
    vstore2(convert_uchar2(ROUND((float2)(ToGrey(u), u.w) * 255.0f)), 0, p);
}
)");
constexpr auto WriteGreyA16Text = JoinText(FragmentStart, ToGreyText, R"(
void WritePixel(float4 v, __global uchar* p) {
    const float4 u = ClampUnits(v);
    vstore2(convert_ushort2(ROUND((float2)(ToGrey(u), u.w) * 65535.0f)), 0, (__global ushort*)p);
}
)");

constexpr auto MaskGreyA8Text = JoinText(R"(
float ReadMask(__global const uchar* p) { return p[1] / 255.0f; }
)");
constexpr auto MaskGreyA16Text = JoinText(R"(
float ReadMask(__global const uchar* p) { return ((__global const ushort*)p)[1] / 65535.0f; }
)");

}  // namespace

constinit const PixelFormat GreyA8Format =
    MakeHostFormat<Format::GreyA8>(WithFragments<ReadGreyA8Text, WriteGreyA8Text, MaskGreyA8Text>(
        {.read = ReadGreyA8, .write = WriteGreyA8, .directConversions = IntoGreyA8}));

constinit const PixelFormat GreyA16Format = MakeHostFormat<Format::GreyA16>(
    WithFragments<ReadGreyA16Text, WriteGreyA16Text, MaskGreyA16Text>(
        {.read = ReadGreyA16, .write = WriteGreyA16}));

}  // namespace Raster
#endif
