// Filling the inputs of image models from bitmaps, and reading their outputs as bitmaps.

#pragma once

#include "Kernel/Rect.h"
#include "Learning/Export.h"
#include "Learning/Tensor.h"
#include "Raster/DynamicBitmap.h"
#include "Raster/Planes.h"
#include "Raster/Sampler.h"
#include "Raster/SpanStage.h"

#include <array>
#include <cstdint>
#include <optional>

namespace Learning {

// The order of axes is in each name, outermost first. CHW: dimensions (channels, height, width),
// one plane of samples for each channel, as most image models want. HWC: dimensions (height, width,
// channels), the samples of a pixel side by side. Leading dimensions of 1, such as a batch of one,
// are passed over.
//
// Samples are those of the bitmap, in the colour space of its profile, unless a stage converts
// them.
//
// Errors: std::invalid_argument, before anything is written, for a tensor of another shape, for
// channels that are not those of the mapping, for a range or a deviation that is 0 or not finite,
// and for an area that is empty or reaches outside.
//
// Threads: the work is shared by the dispatcher's threads. The source must not be written, and the
// destination not be accessed, during a call.

/// What a tensor holds for the value v of a channel, 0..1: (v * range - mean) / deviation.
using ChannelMapping = Raster::ChannelMapping;

/// What the channels of a tensor are.
enum class TensorChannels : std::uint8_t {
    ByCount,  // 1: Grey, 3: RGB, 4: RGBA
    Grey,     // luma by BT.601
    RGB,
    BGR,
    RGBA,
    Alpha,
};

/// How a picture meets a tensor. The defaults scale the whole picture to the whole tensor, 0..1.
struct TensorMapping {
    TensorChannels channels = TensorChannels::ByCount;
    /// One for each channel of the tensor, in the tensor's order.
    std::array<ChannelMapping, 4> mappings{};
    /// The part of the tensor, in its pixels, that stands for `pictureArea`; all of it by default.
    /// Elements beyond are left as they are.
    std::optional<Raster::Rect> tensorArea{};
    /// The part of the picture, in pixels; all of it by default. Where an edge cuts through pixels,
    /// those are written whose centre is inside. Pixels beyond are neither read nor written.
    std::optional<Kernel::RectT<double>> pictureArea{};
    /// Shrinking, every sampler but Nearest counts all pixels: nothing aliases.
    Raster::Sampler sampler = Raster::Sampler::Bilinear;
    /// Applied to pixels between picture and tensor, whichever comes first, after they are
    /// resampled: a conversion of colours, for example.
    Raster::SpanStages stages{};
};

/// Fills `tensor` from `bitmap`. Pixels of alpha 0 count as transparent black: a network never sees
/// colours that a user has erased.
LEARNING_API void FillTensorCHW(Tensor& tensor, const Raster::DynamicBitmap& bitmap,
                                const TensorMapping& mapping = {});
LEARNING_API void FillTensorHWC(Tensor& tensor, const Raster::DynamicBitmap& bitmap,
                                const TensorMapping& mapping = {});

/// Fills `bitmap` from `tensor`. A single channel is grey; alpha that the tensor does not have is
/// 1, and colours are 0 beside alpha alone.
LEARNING_API void ReadTensorCHW(const Tensor& tensor, Raster::DynamicBitmap& bitmap,
                                const TensorMapping& mapping = {});
LEARNING_API void ReadTensorHWC(const Tensor& tensor, Raster::DynamicBitmap& bitmap,
                                const TensorMapping& mapping = {});

}  // namespace Learning
