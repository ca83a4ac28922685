// What the application segments of a JPEG file tell beside the pixels.

#pragma once

#include "Raster/ICCProfile.h"

#include "codecs/Orientation.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Raster {

/// Collects them in the order of the file. Segments that make no sense are passed over.
class JPEGSegments {
public:
    /// Exif data, if it is that: the first of them counts.
    void AddApp1(std::span<const std::byte> segment);
    /// A piece of the colour profile, if it is that (ICC.1:2022, B.4).
    void AddApp2(std::span<const std::byte> segment);

    const Orientation& GetOrientation() const noexcept { return m_orientation; }
    /// Empty if there is none, a piece is missing, or they contradict each other.
    Kernel::Consolidated<ICCProfile> MakeProfile() const;

private:
    Orientation m_orientation;
    bool m_hasExif = false;
    std::vector<std::vector<std::byte>> m_pieces;  // an empty one is missing
    bool m_isProfileDamaged = false;
};

}  // namespace Raster
