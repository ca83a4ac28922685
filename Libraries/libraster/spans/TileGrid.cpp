#include "spans/TileGrid.h"

#include <algorithm>

namespace Raster {

Rect GetTileGrid(const Rect& rect) noexcept {
    const auto roundUp = [](int edge, int size) {
        return edge / size + (edge % size != 0 ? 1 : 0);
    };
    return {rect.left / TileWidth, rect.top / TileHeight, roundUp(rect.right, TileWidth),
            roundUp(rect.bottom, TileHeight)};
}

std::pair<int, int> FindTileEdges(int index, int size, int first, int last) noexcept {
    const int begin = index * size;
    // Compared by difference, since `begin + size` could overflow.
    return {std::max(begin, first), last - begin > size ? begin + size : last};
}

}  // namespace Raster
