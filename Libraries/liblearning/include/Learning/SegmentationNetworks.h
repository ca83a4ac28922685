// The tensors of the segmentation networks: names, shapes and ranges.

#pragma once

#include "Learning/TensorImages.h"

#include <array>

namespace Learning {

// The photo with its long side at Side, in the top left corner of a square; the rest is zero.
namespace SegmentationEncoder {
inline constexpr const char* Input = "input";    // {1, 3, Side, Side}
inline constexpr const char* Output = "output";  // {1, 256, 64, 64}
inline constexpr int Side = 1024;
inline constexpr std::array<Learning::ChannelMapping, 4> Colours{
    {{255, 123.675F, 58.395F}, {255, 116.28F, 57.12F}, {255, 103.53F, 57.375F}}};
inline constexpr std::array<int, 4> EmbeddingShape{1, 256, 64, 64};
}  // namespace SegmentationEncoder

// Positions count in pixels of the encoder's square; above 0 in the masks is inside.
namespace SegmentationDecoder {
inline constexpr const char* Embedding = "image_embeddings";
inline constexpr const char* Positions = "point_coords";  // {1, n, 2}: x, y
inline constexpr const char* Labels = "point_labels";     // {1, n}
inline constexpr const char* EarlierMask =
    "mask_input";  // {1, 1, EarlierMaskSide, EarlierMaskSide}
inline constexpr const char* HasEarlierMask = "has_mask_input";  // {1}
inline constexpr const char* PhotoSize = "orig_im_size";         // {2}: height, width
inline constexpr const char* Masks = "masks";                    // {1, 1, height, width}
inline constexpr const char* Quality = "iou_predictions";        // {1, 1}: 0..1
inline constexpr int EarlierMaskSide = 256;
inline constexpr float Inside = 1;
inline constexpr float Outside = 0;
inline constexpr float End = -1;  // of the point at (0, 0) that closes the list
}  // namespace SegmentationDecoder

}  // namespace Learning
