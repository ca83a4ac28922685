// The loops over samples of tensors, with the instruction set of the machine. All results are the
// same on every instruction set.

#pragma once

#include "Learning/TensorImages.h"
#include "Raster/PixelFormat.h"

#include <array>
#include <cstddef>

namespace Learning {

/// Takes `count` pixels of three or four samples apart, one plane for each sample.
void SplitPixels(const float* pixels, std::size_t channelCount, std::size_t count,
                 const std::array<float*, 4>& planes);
/// The way back.
void JoinPixels(const std::array<const float*, 4>& planes, std::size_t channelCount,
                std::size_t count, float* pixels);

/// Luma by BT.601; `luma` may be one of the planes.
void MixLuma(const std::array<float*, 4>& planes, std::size_t count, float* luma);

/// From 0..1 to what a tensor holds, and back. The two sides may be the same.
void MapSamples(const float* samples, const ChannelMapping& mapping, std::size_t count,
                float* mapped);
void UnmapSamples(const float* mapped, const ChannelMapping& mapping, std::size_t count,
                  float* samples);

/// Rows of samples in three planes, `stride` floats apart, for red, green and blue.
struct PlaneBlock {
    std::array<float*, 3> planes;
    std::array<ChannelMapping, 3> mappings;
    std::ptrdiff_t stride;
};

// Between blocks of RGBA8 and of planes; alpha is dropped, or 255. `isLarge`: write around the
// cache.
void ConvertBytesToPlanes(const Raster::SourceBlock& source, const PlaneBlock& destination,
                          std::size_t width, std::size_t height, bool isLarge);
void ConvertPlanesToBytes(const PlaneBlock& source, const Raster::DestinationBlock& destination,
                          std::size_t width, std::size_t height, bool isLarge);

}  // namespace Learning
