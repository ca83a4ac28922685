// A tensor's elements as samples of a picture.

#pragma once

#include "Learning/TensorImages.h"

namespace Learning {

/// The order of a tensor's last three axes, outermost first.
enum class AxisOrder { CHW, HWC };

/// The part of a tensor that stands for a picture. Throws std::invalid_argument if the tensor has
/// no such shape or part.
Raster::PlaneView ViewSamples(const Tensor& tensor, AxisOrder order, const TensorMapping& mapping);

}  // namespace Learning
