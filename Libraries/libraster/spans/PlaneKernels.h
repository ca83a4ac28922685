// The loops between float samples in memory and pixels, with the instruction set of the machine.
// All results are the same on every instruction set.

#pragma once

#include "Raster/Planes.h"

namespace Raster {

/// `count` pixels from `samples` to the right, which lie as `view` says, to unit-float RGBA.
void ReadPlanes(const ConstPlaneView& view, const float* samples, float* rgba, std::size_t count);
/// And back.
void WritePlanes(const float* rgba, const PlaneView& view, HiddenColours hidden, float* samples,
                 std::size_t count);

/// Rows of samples in three planes, `stride` floats apart, for red, green and blue.
template <class Sample>
struct PlaneBlock {
    std::array<Sample*, 3> planes;
    std::array<ChannelMapping, 3> mappings;
    std::ptrdiff_t stride;
};
using SourcePlanes = PlaneBlock<const float>;
using DestinationPlanes = PlaneBlock<float>;

// Between blocks of RGBA8 and of planes; alpha is dropped, or 255. `isLarge` as for BlockConverter.
void ConvertBytesToPlanes(const SourceBlock& source, const DestinationPlanes& destination,
                          HiddenColours hidden, std::size_t width, std::size_t height,
                          bool isLarge);
void ConvertPlanesToBytes(const SourcePlanes& source, const DestinationBlock& destination,
                          std::size_t width, std::size_t height, bool isLarge);

}  // namespace Raster
