// How a camera was held, as Exif 2.32 records it in the tag Orientation.

#pragma once

#include <cstddef>
#include <span>

namespace Raster {

/// How stored rows become the upright picture: first they are made columns, if so, then the result
/// is mirrored.
struct Orientation {
    bool isTransposed = false;
    bool isMirroredInX = false;  // left and right change places
    bool isMirroredInY = false;

    friend bool operator==(const Orientation&, const Orientation&) = default;
};

/// The orientation in Exif data, which begin with the header of a TIFF file. Upright if the data
/// are damaged or say nothing.
Orientation FindOrientation(std::span<const std::byte> exif) noexcept;

}  // namespace Raster
