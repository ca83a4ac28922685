// The Exif orientation (Exif 2.32, tag Orientation).

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Raster {

/// The transform from the stored to the upright picture: first transposed, then mirrored.
struct Orientation {
    bool isTransposed = false;
    bool isMirroredInX = false;  // left and right are exchanged
    bool isMirroredInY = false;

    friend bool operator==(const Orientation&, const Orientation&) = default;
};

/// The orientation of that number, 1 to 8; upright for others.
Orientation MakeOrientation(std::uint32_t number) noexcept;

/// The orientation in Exif data, which begin with the header of a TIFF file. Upright if the data
/// are damaged or have no such tag.
Orientation FindOrientation(std::span<const std::byte> exif) noexcept;

}  // namespace Raster
