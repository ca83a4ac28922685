// Resampling of rows of float samples, whatever they come from and go to.

#pragma once

#include <functional>
#include <span>

namespace LearningApp {

struct Size {
    int width;
    int height;
};

/// A grid of samples that is read row by row.
struct RowSource {
    Size size;
    int channels;
    /// Adds `weight` times row `y` to `sum`: all samples of the first channel, then of the next.
    std::function<void(int y, float weight, std::span<float> sum)> add;
};

/// Takes row `y` of the result: all samples of the first channel, then of the next.
using RowSink = std::function<void(int y, std::span<const float> row)>;

/// Resizes `source` to `size` with a triangle filter. Enlarging, that is linear interpolation;
/// shrinking, the triangle widens with the step so that every source sample counts and fine
/// patterns fade instead of turning into coarse ones. Never holds more than a few rows.
///
/// Threads: calls `source.add` and `sink` from many threads, `sink` once for each row.
void Resize(const RowSource& source, Size size, const RowSink& sink);

/// The size with its long side at `side` and its proportions kept.
Size FitLongSide(Size size, int side);

/// Calls `job` with each of the rows 0 to `height` - 1, on many threads.
void ForEachRow(int height, const std::function<void(int y)>& job);

}  // namespace LearningApp
