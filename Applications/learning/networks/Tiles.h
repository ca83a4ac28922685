// Covering a length with overlapping tiles, and blending the results at the overlaps.

#pragma once

#include <vector>

namespace LearningApp {

/// Tiles of one size along an axis, evenly spread from the first sample to the last.
class TileRow {
public:
    /// Covers `length` with tiles of `tileSize`, neighbours sharing `overlap` samples or more; both
    /// are even. A length below that gets one tile of its own size, made even.
    TileRow(int length, int tileSize, int overlap);

    int GetTileSize() const noexcept { return m_tileSize; }
    int GetCount() const noexcept { return static_cast<int>(m_starts.size()); }
    int GetStart(int tile) const { return m_starts[static_cast<std::size_t>(tile)]; }

    /// How many samples `tile` shares with the one before it; 0 for the first.
    int GetOverlap(int tile) const;

private:
    int m_tileSize;
    std::vector<int> m_starts;
};

/// How much of a tile, 0..1, shows at sample `i` of the `overlap` that it shares with the one
/// before it. Rises over the middle half of the overlap, since a network has the least context at a
/// tile's edge. 1 beyond the overlap.
float GetTileShare(int i, int overlap);

}  // namespace LearningApp
