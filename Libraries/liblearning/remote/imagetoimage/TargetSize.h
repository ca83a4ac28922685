// The sizes in which models take pictures.

#pragma once

#include "Learning/RemoteModels.h"

#include <cstdint>

namespace Learning {

/// Sides that may be of any number: catalogues hold any.
struct TargetSize {
    std::int64_t width;
    std::int64_t height;

    bool operator==(const TargetSize&) const = default;
};

/// The size in which `model` takes a picture of `width` by `height`, both positive: reduced to its
/// largest side, then, which prevails, enlarged to its smallest; multiples of its alignment, the
/// first of its allowed sides that are not smaller, and square if it must be. The result need not
/// be one that a picture can have.
///
/// Deliberate: the products of sides and scale are cut, so some come one short, as 1535 for 1536.
TargetSize GetTargetSize(const ImageToImageModel& model, int width, int height);

/// Whether a picture of that size can be sent: no side is 0 or too long for JPEG, and the pixels
/// are not more than a file may have.
bool CanBeSent(const TargetSize& size) noexcept;

}  // namespace Learning
