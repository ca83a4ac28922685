// Small PNG and JPEG files of every kind, made in memory by the codecs' own libraries.

#pragma once

#include "Raster/Picture.h"

#include <cstddef>
#include <vector>

namespace Raster::Testing {

using Bytes = std::vector<std::byte>;

struct SampleFile {
    const char* name;
    Bytes (*make)();
    int (*expected)(int x, int y, int channel);  // of the RGBA picture
    int tolerance;
    int colourType;  // the smallest one of PNG that can hold the picture
};

inline constexpr int SampleWidth = 13;
inline constexpr int SampleHeight = 9;

/// All of SampleWidth x SampleHeight.
const std::vector<SampleFile>& GetSampleFiles();

}  // namespace Raster::Testing
