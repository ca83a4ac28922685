// What the tags of a TIFF file say of its samples.

#pragma once

#include "codecs/TIFFFile.h"
#include "codecs/TIFFSamples.h"

#include <cstddef>
#include <vector>

namespace Raster {

struct TIFFTags {
    TIFFLayout layout;
    std::vector<std::size_t> samples;  // that are used, colours first
};

/// Throws CodecException unless the samples are of a kind that can be read.
TIFFTags ReadTIFFTags(const TIFFFile& file);

}  // namespace Raster
