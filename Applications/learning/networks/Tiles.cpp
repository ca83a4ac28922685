#include "networks/Tiles.h"

#include <algorithm>
#include <cstdint>

namespace LearningApp {

TileRow::TileRow(int length, int tileSize, int overlap)
    : m_tileSize(std::min(tileSize, length + length % 2)) {
    if (length <= m_tileSize) {
        m_starts.push_back(0);
        return;
    }
    const int step = tileSize - overlap;
    const int gaps = (length - tileSize + step - 1) / step;
    for (int i = 0; i <= gaps; ++i) {
        const std::int64_t way = std::int64_t{length - tileSize} * i;
        m_starts.push_back(static_cast<int>(way / gaps));
    }
}

int TileRow::GetOverlap(int tile) const {
    return tile == 0 ? 0 : GetStart(tile - 1) + m_tileSize - GetStart(tile);
}

float GetTileShare(int i, int overlap) {
    if (i >= overlap) {
        return 1;
    }
    const float margin = static_cast<float>(overlap) / 4;
    return std::clamp((static_cast<float>(i) + 0.5F - margin) / (2 * margin), 0.0F, 1.0F);
}

}  // namespace LearningApp
