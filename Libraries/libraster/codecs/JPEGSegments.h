// Metadata in the application segments of JPEG files: Exif orientation and ICC profile.

#pragma once

#include "Raster/ICCProfile.h"

#include "codecs/Orientation.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Raster {

/// Collects the segments in the order of the file. Invalid ones are ignored.
class JPEGSegments {
public:
    /// APP1: the Exif data, if it is that. The first such segment counts.
    void AddApp1(std::span<const std::byte> segment);
    /// APP2: a chunk of the ICC profile, if it is that (ICC.1:2022, B.4).
    void AddApp2(std::span<const std::byte> segment);

    const Orientation& GetOrientation() const noexcept { return m_orientation; }
    /// Empty if there is none, or its chunks are incomplete or contradictory.
    Kernel::Consolidated<ICCProfile> MakeProfile() const;

private:
    Orientation m_orientation;
    bool m_hasExif = false;
    std::vector<std::vector<std::byte>> m_pieces;  // an empty one is missing
    bool m_isProfileDamaged = false;
};

}  // namespace Raster
