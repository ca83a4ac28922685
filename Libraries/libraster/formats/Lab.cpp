#include "Raster/ChannelParams.h"

#include "formats/FragmentText.h"
#include "formats/HostFormatObjects.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "formats/Lab.cpp"
#include "formats/Highway.h"
#include "formats/SpanLoops.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

RASTER_SPANS(LabA16, LabA16Codec)

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Raster {
namespace {

RASTER_DISPATCH_SPANS(LabA16)

// The steps of ColourModels.h, one for one.
constexpr char RootText[] = R"(
#ifndef RASTER_ROOT
#define RASTER_ROOT
float RootPower(float x, int n) {
    const float x2 = x * x;
    const float x3 = x2 * x;
    return n == 3 ? x3 : n == 5 ? x2 * x2 * x : (x3 * x3) * (x3 * x3);
}
float Root(float x, int n) {
    const float guess = convert_float(as_int(x)) * (1.0f / n) + 1064975338.0f * (n - 1.0f) / n;
    float root = as_float(convert_int(guess));
    for (int step = 0; step < 2; ++step) {
        const float power = RootPower(root, n);
        const float twice = (x - power) * 2.0f;
        root = root + root * (twice / (power * (n + 1.0f) + x * (n - 1.0f)));
    }
    return root;
}
#endif
)";

constexpr auto ReadLabA16Text = JoinText(FragmentStart, RootText, R"(
float Encode(float linear) {
    const float x = fabs(linear);
    const float y = x > 0.0031308f ? RootPower(Root(x, 12), 5) * 1.055f - 0.055f : x * 12.92f;
    return copysign(y, linear);
}
float Expand(float x) {
    return x > 6.0f / 29.0f ? RootPower(x, 3) : (x - 4.0f / 29.0f) * (108.0f / 841.0f);
}
float4 ReadPixel(__global const uchar* p) {
    const float4 lab = convert_float4(vload4(0, (__global const ushort*)p)) / 65535.0f;
    const float middle = (lab.x + 0.16f) / 1.16f;
    const float x = Expand(middle + (lab.y * 255.0f - 128.0f) / 500.0f);
    const float y = Expand(middle);
    const float z = Expand(middle - (lab.z * 255.0f - 128.0f) / 200.0f);
    return (float4)(
        Encode((x * 3.0219824924f + y * -1.6172089590f) + z * -0.4047735334f),
        Encode((x * -0.9437093077f + y * 1.9161300968f) + z * 0.0275792110f),
        Encode((x * 0.0693876192f + y * -0.2289938735f) + z * 1.1596062543f), lab.w);
}
)");
constexpr auto WriteLabA16Text = JoinText(FragmentStart, RootText, R"(
float Linearise(float encoded) {
    const float bounded = encoded == encoded ? max(min(encoded, 4.0f), -4.0f) : 0.0f;
    const float x = fabs(bounded);
    const float base = (x + 0.055f) / 1.055f;
    const float root = Root(base, 5);
    return copysign(x > 0.04045f ? base * base * (root * root) : x / 12.92f, bounded);
}
float Compress(float x) {
    return x > 216.0f / 24389.0f ? Root(x, 3) : x * (841.0f / 108.0f) + 4.0f / 29.0f;
}
void WritePixel(float4 v, __global uchar* p) {
    const float r = Linearise(v.x);
    const float g = Linearise(v.y);
    const float b = Linearise(v.z);
    const float x = Compress((r * 0.4522311259f + g * 0.3994118552f) + b * 0.1483570189f);
    const float y = Compress((r * 0.2224845402f + g * 0.7169050786f) + b * 0.0606103812f);
    const float z = Compress((r * 0.0168750000f + g * 0.1176715222f) + b * 0.8654534778f);
    const float4 lab = ClampUnits((float4)(y * 1.16f - 0.16f, ((x - y) * 500.0f + 128.0f) / 255.0f,
                                           ((y - z) * 200.0f + 128.0f) / 255.0f, v.w));
    vstore4(convert_ushort4(lab * 65535.0f + 0.5f), 0, (__global ushort*)p);
}
)");
constexpr auto MaskLabA16Text = JoinText(R"(
float ReadMask(__global const uchar* p) { return ((__global const ushort*)p)[3] / 65535.0f; }
)");

}  // namespace

constinit const PixelFormat LabA16Format =
    MakeHostFormat<Format::LabA16>(WithFragments<ReadLabA16Text, WriteLabA16Text, MaskLabA16Text>(
        {.read = ReadLabA16, .write = WriteLabA16}));

}  // namespace Raster
#endif
