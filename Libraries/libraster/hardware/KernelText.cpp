#include "hardware/KernelText.h"

#include "Raster/Hardware.h"

namespace Raster {

namespace {

constexpr const char* SourceAddressing = R"(
__global const uchar* GetSourcePixel(__global const uchar* pixels, long stride, int2 at) {
    return pixels + at.y * stride + (long)at.x * SourcePixelSize;
}
)";

constexpr const char* DestinationAddressing = R"(
__global uchar* GetDestinationPixel(__global uchar* pixels, long stride, int2 at) {
    return pixels + at.y * stride + (long)at.x * DestinationPixelSize;
}
)";

constexpr const char* MaskAddressing = R"(
__global const uchar* GetMaskPixel(__global const uchar* pixels, long stride, int2 at) {
    return pixels + at.y * stride + (long)at.x * MaskPixelSize;
}
)";

constexpr const char* IdentityConversion = R"(
void ConvertPixel(__global const uchar* source, __global uchar* destination) {
    for (int i = 0; i < SourcePixelSize; ++i) {
        destination[i] = source[i];
    }
}
)";

// Under a mask, the steps of the host's BlendSpan().
constexpr const char* JointConversion = R"(
void ConvertPixel(__global const uchar* source, __global uchar* destination) {
    WriteDestination(ReadSource(source), destination);
}
#ifdef HasMask
float4 TimesAlpha(float4 v, float alpha) {
    return alpha > 0.0f ? v * alpha : (float4)(0.0f);
}
float4 MixPixels(float4 a, float shareOfA, float4 b, float shareOfB) {
    const float share = shareOfA + shareOfB;
    const float4 sum = TimesAlpha(a, shareOfA) + TimesAlpha(b, shareOfB);
    return share > 0.0f ? (float4)((sum / share).xyz, share) : (float4)(0.0f);
}
float PositiveAlpha(float4 v) { return v.w > 0.0f ? v.w : 0.0f; }
void BlendPixel(float4 source, float share, __global uchar* destination) {
    const float4 before = ReadDestination(destination);
    float4 after = source.w > 0.0f ? source : (float4)(0.0f);
    if (share < 1.0f) {
        after = MixPixels(after, PositiveAlpha(after) * share, before,
                          PositiveAlpha(before) * (1.0f - share));
    }
    // What stays is not written: not every format keeps its values on the way there and back.
    if (share > 0.0f && any(as_int4(before) != as_int4(after))) {
        WriteDestination(after, destination);
    }
}
#endif
)";

constexpr const char* PixelPerItem = R"(
__kernel void ConvertPixels(__global const uchar* source, long sourceStride,
                            __global uchar* destination, long destinationStride,
#ifdef HasMask
                            __global const uchar* mask, long maskStride,
#endif
                            int4 rect) {
    const int2 at = rect.xy + (int2)((int)get_global_id(0), (int)get_global_id(1));
    if (at.x >= rect.z) {
        return;
    }
    __global const uchar* from = GetSourcePixel(source, sourceStride, at);
    __global uchar* to = GetDestinationPixel(destination, destinationStride, at);
#ifdef HasMask
    BlendPixel(ReadSource(from), ReadMask(GetMaskPixel(mask, maskStride, at)), to);
#else
    ConvertPixel(from, to);
#endif
}
)";

}  // namespace

const char* GetSourceAddressing(HardwareKernelLanguage language) noexcept {
    return language == HardwareKernelLanguage::OpenCL ? SourceAddressing : nullptr;
}

const char* GetDestAddressing(HardwareKernelLanguage language) noexcept {
    return language == HardwareKernelLanguage::OpenCL ? DestinationAddressing : nullptr;
}

const char* GetMaskAddressing(HardwareKernelLanguage language) noexcept {
    return language == HardwareKernelLanguage::OpenCL ? MaskAddressing : nullptr;
}

const char* GetIdentityConversionFragment(HardwareKernelLanguage language) {
    return language == HardwareKernelLanguage::OpenCL ? IdentityConversion : nullptr;
}

const char* GetJointConversionFragment(HardwareKernelLanguage language) {
    return language == HardwareKernelLanguage::OpenCL ? JointConversion : nullptr;
}

const char* KernelPerPixel<Horizontal>::GetHardwareFragment(HardwareKernelLanguage language) {
    return language == HardwareKernelLanguage::OpenCL ? PixelPerItem : nullptr;
}

}  // namespace Raster
