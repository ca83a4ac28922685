// How much pictures are reduced before their background is removed.

#pragma once

namespace Learning {

/// The size in which a picture is sent, and by which factor its sides are smaller.
struct Reduction {
    int width;
    int height;
    int factor;

    bool operator==(const Reduction&) const = default;
};

/// Halves a picture of `width` by `height`, rounding up, until it has at most 50,000,000 pixels.
/// 7072 x 7072 is the first square that is halved.
Reduction ReduceForUpload(int width, int height) noexcept;

}  // namespace Learning
