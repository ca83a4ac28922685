// How large the pictures of one call may be together.

#pragma once

#include "Raster/DynamicFile.h"

#include <cstdint>

namespace Learning {

/// The pixels that a call may still get from the service: a reply names as many files as it likes,
/// and a small file may hold a large picture.
class PixelBudget {
public:
    /// What one file may always have (1 GiB in RGBA8), which is what the largest reply needs: an
    /// edit has the size in which the picture was sent, and CanBeSent() allows as much. The others
    /// stay below it: of variants of an object, which are sent with 1536 x 1536 pixels at most,
    /// there is room for 113, eight generated pictures may have 5792 x 5792 each, and a cut-out
    /// comes as colours and alpha of 50 million pixels each at most.
    explicit PixelBudget(std::uint64_t pixels = Raster::DynamicFile::MaximumPixelCount) noexcept
        : m_left(pixels) {}

    /// Takes the pixels of a picture out of it; false if there are not as many left, and they stay.
    [[nodiscard]] bool Take(int width, int height) noexcept {
        const std::uint64_t pixels =
            static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
        const bool isEnough = pixels <= m_left;
        m_left -= isEnough ? pixels : 0;
        return isEnough;
    }

private:
    std::uint64_t m_left;
};

}  // namespace Learning
