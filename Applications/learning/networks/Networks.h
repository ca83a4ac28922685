// The tensors of the networks: names, shapes and ranges. Whatever another network of the same
// purpose would change is here.

#pragma once

#include "Learning/ModelCache.h"
#include "Learning/SegmentationNetworks.h"

namespace LearningApp {

using ModelType = Learning::ModelCache::ModelType;

namespace SegmentationEncoder = Learning::SegmentationEncoder;
namespace SegmentationDecoder = Learning::SegmentationDecoder;

// Colours go in as 0..1 unless it is said how.

// The whole photo, squeezed into a square; smaller numbers are nearer.
namespace DepthEstimation {
inline constexpr const char* Input = "0";     // {1, 3, Side, Side}
inline constexpr const char* Output = "350";  // {1, 1, Side, Side}
inline constexpr int Side = 224;
}  // namespace DepthEstimation

// Luma 0..1 of a small picture to Cb and Cr (BT.601, about -0.5..0.5) of the same size.
namespace Colourisation {
inline constexpr const char* Input = "luma";     // {1, 1, height, width}
inline constexpr const char* Output = "chroma";  // {1, 2, height, width}
inline constexpr int ShortSide = 96;             // about
inline constexpr int LongestSide = 1024;
inline constexpr int SideStep = 8;  // sides are multiples of it
}  // namespace Colourisation

// Colours 0..1 of a tile with even sides to twice the size.
namespace SuperResolution {
inline constexpr const char* Input = "input";    // {1, 3, height, width}
inline constexpr const char* Output = "output";  // {1, 3, Scale * height, Scale * width}
inline constexpr int Scale = 2;
inline constexpr int TileSide = 128;
inline constexpr int TileOverlap = 32;  // at least
}  // namespace SuperResolution

}  // namespace LearningApp
