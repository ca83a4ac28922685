// What a tensor lends to the bitmaps that lie over it.

#pragma once

#include "Learning/Tensor.h"

#include <span>

namespace Learning {

/// The way to a tensor's storage for pixel loops, which public subscripts would slow down.
class TensorElements {
public:
    /// All elements of the storage, whatever the shape says; none without storage.
    static std::span<float> Get(const Tensor& tensor);

    /// What Tensor::SetPlatformTensor() takes to share the storage.
    static void* GetPlatformTensor(Tensor& tensor) noexcept { return &tensor.m_platformTensor; }
};

}  // namespace Learning
