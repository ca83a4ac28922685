#include "Raster/ChannelParams.h"

#include "formats/DirectConversions.h"
#include "formats/FragmentText.h"
#include "formats/HostFormatObjects.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "formats/CMYK.cpp"
#include "formats/Highway.h"
#include "formats/SpanLoops.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

RASTER_SPANS(CMYKA8, CMYKA8Codec)

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Raster {
namespace {

RASTER_DISPATCH_SPANS(CMYKA8)

constexpr auto ReadCMYKA8Text = JoinText(FragmentStart, R"(
float4 ReadPixel(__global const uchar* p) {
    const float4 inks = convert_float4(vload4(0, p)) * (1.0f / 255.0f);
    const float3 rgb = 1.0f - min((float3)(1.0f), inks.xyz * (1.0f - inks.w) + inks.w);
    return (float4)(rgb, p[4] / 255.0f);
}
)");
constexpr auto WriteCMYKA8Text = JoinText(FragmentStart, R"(
void WritePixel(float4 v, __global uchar* p) {
    const float4 u = ClampUnits(v);
    const float k = min(1.0f - u.x, min(1.0f - u.y, 1.0f - u.z));
    const float3 cmy = k < 1.0f ? ((1.0f - u.xyz) - k) / (1.0f - k) : (float3)(0.0f);
    vstore4(convert_uchar4(ROUND((float4)(cmy, k) * 255.0f)), 0, p);
    p[4] = convert_uchar(ROUND(u.w * 255.0f));
}
)");
constexpr auto MaskCMYKA8Text = JoinText(R"(
float ReadMask(__global const uchar* p) { return p[4] / 255.0f; }
)");

}  // namespace

constinit const PixelFormat CMYKA8Format =
    MakeHostFormat<Format::CMYKA8>(WithFragments<ReadCMYKA8Text, WriteCMYKA8Text, MaskCMYKA8Text>(
        {.read = ReadCMYKA8, .write = WriteCMYKA8, .directConversions = IntoCMYKA8}));

}  // namespace Raster
#endif
