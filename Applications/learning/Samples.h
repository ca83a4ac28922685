// Between the bytes of pictures and the floats of tensors.

#pragma once

#include "Learning/Tensor.h"
#include "Raster/Picture.h"

#include "Networks.h"
#include "Resize.h"

#include <array>
#include <cstdint>

namespace LearningApp {

/// How much red, green and blue count in luma, by BT.601.
inline constexpr std::array<float, 3> LumaWeights{0.299F, 0.587F, 0.114F};

inline Size GetSize(const Raster::Picture& picture) {
    return {picture.GetWidth(), picture.GetHeight()};
}

/// The byte for a sample of 0..1; what is outside goes to the nearest end, and what is no number to
/// 0.
inline std::uint8_t ToByte(float sample) {
    return static_cast<std::uint8_t>(sample > 0 ? (sample < 1 ? sample * 255 + 0.5F : 255.0F)
                                                : 0.0F);
}

inline float ToSample(std::uint8_t byte) {
    return static_cast<float>(byte) / 255;
}

/// Luma 0..1 of the four bytes at `pixel`.
inline float GetLuma(const std::uint8_t* pixel) {
    return LumaWeights[0] * ToSample(pixel[0]) + LumaWeights[1] * ToSample(pixel[1]) +
           LumaWeights[2] * ToSample(pixel[2]);
}

// Each source below reads what it is given as it goes: that must outlive it.

/// Red, green and blue, 0..1.
RowSource ReadColours(const Raster::Picture& picture);
/// One channel, 0..1.
RowSource ReadLuma(const Raster::Picture& picture);
RowSource ReadAlpha(const Raster::Picture& picture);
/// The planes of a tensor of shape {1, channels, height, width}.
RowSource ReadPlanes(const Learning::Tensor& tensor);

/// Fills the planes of a tensor of that shape from the top left corner on; what the rows do not
/// reach stays as it is.
RowSink WritePlanes(Learning::Tensor& tensor, const Normalisation& normalisation);

}  // namespace LearningApp
