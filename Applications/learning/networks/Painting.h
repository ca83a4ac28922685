// Compositing the output planes of a network onto a photo.

#pragma once

#include "Learning/Tensor.h"
#include "Raster/DynamicBitmap.h"
#include "Raster/SpanStage.h"

#include <functional>
#include <span>

namespace LearningApp {

struct Size {
    int width;
    int height;
};

inline Size GetSize(const Raster::DynamicBitmap& picture) {
    return {picture.GetWidth(), picture.GetHeight()};
}

/// The size with its long side at `side` and its proportions kept.
Size FitLongSide(Size size, int side);

/// Changes a pixel by what planes have there. The pixel is red, green, blue and alpha; of what is
/// put there, values outside 0..1 end at 0 or 1, and what is no number becomes 0. Planes that are
/// not there have 0, a fourth one 1.
using Painter = std::function<void(std::span<float, 4> pixel, std::span<const float, 4> samples)>;

/// What happens to pixels on their way from the photo to the painter, and back.
struct PaintStages {
    Raster::SpanStages before;
    Raster::SpanStages after;
};

/// Scales the planes of `tensor`, at most four, of which the last counts as alpha, to the size of
/// `photo` and has `paint` lay them over it, pixel by pixel. The last dimensions of `tensor` are
/// planes, height and width. Never holds more than a few rows.
///
/// Threads: calls `paint` from many threads.
void PaintPlanes(const Learning::Tensor& tensor, Raster::DynamicBitmap& photo, const Painter& paint,
                 const PaintStages& stages = {});

}  // namespace LearningApp
