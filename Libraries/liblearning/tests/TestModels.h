// Helpers for tests that run models.

#pragma once

#include "Kernel/FileSystem.h"
#include "Kernel/String.h"
#include "Learning/Tensor.h"

#include <vector>

namespace Learning {

/// The path of one of the models that make_models.py writes.
inline Kernel::String TestModelPath(const char* name) {
    return Kernel::String(TEST_MODELS) + name + ".onnx";
}

/// The first `count` elements of `tensor`.
inline std::vector<float> GetValues(const Tensor& tensor, std::size_t count) {
    std::vector<float> values;
    for (std::size_t i = 0; i < count; ++i) {
        values.push_back(tensor.GetValueAtIndexedSubscript(i));
    }
    return values;
}

}  // namespace Learning
