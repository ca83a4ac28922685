// Pixel formats at run time: channels, conversion functions and device fragments.

#pragma once

#include "Raster/ChannelParams.h"
#include "Raster/Export.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace Raster {

/// The run-time code of a pixel format; Raster/HostFormats.inc documents their memory layout.
enum class Format : std::uint8_t {
#define RASTER_FORMAT(NAME, CODE, ...) NAME = CODE,
#include "Raster/HostFormats.inc"
    Tensor = 8,  // all formats over tensors and those that hosts add; their objects differ
};

/// The language of a device's kernels.
enum class HardwareKernelLanguage : std::uint8_t { OpenCL };

// The functions of a format are called by many threads at once, for distinct destinations, and
// throw nothing. Pixels may have any alignment; bytes beyond them are not touched.

/// Converts `count` pixels at `source` to the intermediate: unit-float RGBA, four floats a pixel,
/// 64-byte aligned, straight alpha. Channels that the format lacks are 0, alpha is 1.
using SpanReader = void (*)(const void* source, float* rgba, std::size_t count);
/// Converts `count` pixels of the intermediate to `destination`. They may be any floats: integer
/// samples are clamped to 0..1, and NaN counts as 0.
using SpanWriter = void (*)(const float* rgba, void* destination, std::size_t count);

/// A block of pixels: `height` rows of `width` pixels, whose starts are `stride` bytes apart.
struct SourceBlock {
    const std::byte* pixels;
    std::ptrdiff_t stride;
};
struct DestinationBlock {
    std::byte* pixels;
    std::ptrdiff_t stride;
};

/// Converts a block at once. `isLarge`: the whole picture is evicted from the cache before it is
/// read, so non-temporal stores, which bypass the cache, are faster.
using BlockConverter = void (*)(const SourceBlock& source, const DestinationBlock& destination,
                                std::size_t width, std::size_t height, bool isLarge);

struct PixelFormat;

/// A conversion with a kernel of its own, for pairs where going through the intermediate would cost
/// more than memory bandwidth does. Gives the same bytes.
struct DirectConversion {
    const PixelFormat* source;
    BlockConverter convert;
};

/// Source text in a kernel language; null if there is none.
using FragmentGetter = const char* (*)(HardwareKernelLanguage language);

/// Sums `count` rows of `width` pixels, each times its weight, into premultiplied unit-float RGBA.
using RowBlender = void (*)(const void* const* rows, const float* weights, std::size_t count,
                            float* rgba, std::size_t width);

/// The fragment of a format that has none.
constexpr const char* GetNoFragment(HardwareKernelLanguage /*language*/) noexcept {
    return nullptr;
}

/// The conversions of a format.
struct FormatRules {
    SpanReader read;
    SpanWriter write;
    /// Source, destination and mask side of the conversions above on a device.
    FragmentGetter getSourceFragment = GetNoFragment;
    FragmentGetter getDestFragment = GetNoFragment;
    FragmentGetter getMaskFragment = GetNoFragment;
    /// Into this format, tried before the way through the intermediate.
    std::span<const DirectConversion> directConversions{};
    /// For downscaling; may be null.
    RowBlender blendRows = nullptr;
};

/// A pixel is no larger than this: five floats.
inline constexpr std::size_t MaximumPixelSize = 20;

/// A pixel format. There is one object for each: formats are compared by address. Zero bytes are a
/// transparent pixel, or a black one where there is no alpha.
struct PixelFormat : FormatRules {
    Format code;
    std::uint8_t channelCount;  // those that are stored
    std::uint8_t sampleSize;    // bytes: 1 and 2 are unsigned integers, 4 is a float
    bool hasAlpha;
    std::span<const ChannelFacts> channels;  // five, those that are stored first

    constexpr std::size_t GetPixelSize() const noexcept {
        return std::size_t{channelCount} * sampleSize;
    }
};

/// The format with these channels, placeholders last. All samples have one type.
template <class C1, class C2, class C3, class C4, class C5>
constexpr PixelFormat MakePixelFormat(Format code, const FormatRules& rules) noexcept {
    return {rules,
            code,
            RealChannelCount<C1, C2, C3, C4, C5>,
            sizeof(typename ChannelTraits<C1>::Sample),
            HasAlphaChannel<C1, C2, C3, C4, C5>,
            ChannelFactsOf<C1, C2, C3, C4, C5>};
}

/// The host format of that code. Throws std::invalid_argument for Tensor and for an unknown code.
RASTER_API const PixelFormat& GetPixelFormat(Format code);

}  // namespace Raster
