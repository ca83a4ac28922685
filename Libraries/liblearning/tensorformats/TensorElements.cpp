#include "tensorformats/TensorElements.h"

#include "inference/ONNXTensor.h"

namespace Learning {

std::span<float> TensorElements::Get(const Tensor& tensor) {
    if (!tensor.m_platformTensor) {
        return {};
    }
    const Ort::Value& value = tensor.m_platformTensor->GetValue();
    return {tensor.m_data, value.GetTensorTypeAndShapeInfo().GetElementCount()};
}

}  // namespace Learning
