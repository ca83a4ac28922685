// The tiles of a rectangle, on a grid that starts at the destination's origin.

#pragma once

#include "spans/TileRows.h"

#include <utility>

namespace Raster {

/// The tiles that intersect `rect`: columns and rows of the grid.
Rect GetTileGrid(const Rect& rect) noexcept;

/// The edges of tile `index`, of `size` pixels, clipped to `first` and `last`.
std::pair<int, int> FindTileEdges(int index, int size, int first, int last) noexcept;

}  // namespace Raster
