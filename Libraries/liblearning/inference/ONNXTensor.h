// The platform tensor: a value of the inference runtime that tensors share.

#pragma once

#include "Kernel/Counted.h"

#include "inference/ONNXRuntime.h"

#include <utility>

namespace Learning {

/// Owns one runtime value and releases it with the last reference.
class ONNXTensor : public Kernel::Countable {
public:
    explicit ONNXTensor(Ort::Value value) noexcept : m_value(std::move(value)) {}

    Ort::Value& GetValue() noexcept { return m_value; }

private:
    Ort::Value m_value;
};

}  // namespace Learning
