// The device fragments of formats.
//
// A source fragment defines float4 ReadPixel(__global const uchar* p), a destination fragment void
// WritePixel(float4 v, __global uchar* p) and a mask fragment float ReadMask(__global const uchar*
// p), the alpha within 0..1. Each compiles alone, and any three make one program: shared code has
// include guards. They give the same bytes as the host as long as the program is built with
// -cl-fp32-correctly-rounded-divide-sqrt.

#pragma once

#include "Raster/PixelFormat.h"

#include <array>
#include <cstddef>

namespace Raster {

/// The common start of most fragments.
inline constexpr char FragmentStart[] = R"(
#ifndef RASTER_SAMPLES
#define RASTER_SAMPLES
#pragma OPENCL FP_CONTRACT OFF
float ClampUnit(float x) { return x > 0.0f ? min(x, 1.0f) : 0.0f; }
float4 ClampUnits(float4 v) {
    return (float4)(ClampUnit(v.x), ClampUnit(v.y), ClampUnit(v.z), ClampUnit(v.w));
}
// Half away from zero, see Round() on the host.
#define ROUND(x) ((x) + 0x1.fffffep-2f)
#endif
)";

template <std::size_t... Sizes>
consteval auto JoinText(const char (&... parts)[Sizes]) {
    std::array<char, (Sizes + ... + 1)> text{};
    std::size_t end = 0;
    const auto append = [&](const char* part) {
        for (; *part != '\0'; ++part) {
            text[end++] = *part;
        }
    };
    (append(parts), ...);
    return text;
}

/// A FragmentGetter for a Text made by JoinText().
template <const auto& Text>
const char* GetFragment(HardwareKernelLanguage language) {
    return language == HardwareKernelLanguage::OpenCL ? Text.data() : nullptr;
}

/// `rules` with the texts of the host format's source, destination and mask fragment.
template <const auto& Source, const auto& Destination, const auto& Mask>
constexpr FormatRules WithFragments(FormatRules rules) noexcept {
    rules.getSourceFragment = GetFragment<Source>;
    rules.getDestFragment = GetFragment<Destination>;
    rules.getMaskFragment = GetFragment<Mask>;
    return rules;
}

}  // namespace Raster
