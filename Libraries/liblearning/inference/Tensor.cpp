#include "Learning/Tensor.h"

#include "Kernel/Format.h"

#include "inference/ONNXRuntime.h"
#include "inference/ONNXTensor.h"

#include <algorithm>
#include <limits>
#include <string>

namespace Learning {

namespace {

[[noreturn]] void RefuseArgument(const char* reason) {
    throw Ort::Exception(reason, ORT_INVALID_ARGUMENT);
}

/// The product of `dims`. Refused here and not left to the runtime: it is also what the fill
/// constructor counts to.
std::size_t CountElements(const std::vector<int>& dims) {
    constexpr std::size_t Limit = std::numeric_limits<std::ptrdiff_t>::max() / sizeof(float);
    std::size_t count = 1;
    for (const int dim : dims) {
        if (dim < 0) {
            RefuseArgument("a tensor can't have a negative dimension");
        }
        const auto size = static_cast<std::size_t>(dim);
        if (size != 0 && count > Limit / size) {
            RefuseArgument("a tensor of that shape has more elements than can be addressed");
        }
        count *= size;
    }
    return count;
}

/// "2x3" for {2, 3}.
std::string DescribeShape(const std::vector<int>& dims) {
    std::string text;
    for (const int dim : dims) {
        text += (text.empty() ? "" : "x") + std::to_string(dim);
    }
    return text;
}

Ort::Value AllocateValue(const std::vector<int>& dims) {
    const std::size_t count = CountElements(dims);
    EnsureONNXRuntime();
    const std::vector<std::int64_t> shape(dims.begin(), dims.end());
    Ort::AllocatorWithDefaultOptions allocator;
    try {
        return Ort::Value::CreateTensor<float>(allocator, shape.data(), shape.size());
    } catch (const Ort::Exception& error) {  // says what failed, but not what was asked for
        const Kernel::String reason =
            Kernel::Format("there is no memory for a tensor of %1 floats, which are %2 bytes (%3)",
                           DescribeShape(dims), count * sizeof(float), error.what());
        throw Ort::Exception(reason.c_str(), error.GetOrtErrorCode());
    }
}

std::vector<int> ReadShape(const Ort::Value& value) {
    const Ort::TensorTypeAndShapeInfo info = value.GetTensorTypeAndShapeInfo();
    if (info.GetElementType() != ONNX_TENSOR_ELEMENT_DATA_TYPE_FLOAT) {
        RefuseArgument("the elements of the platform tensor are not 32-bit floats");
    }
    std::vector<int> dims;
    for (const std::int64_t dim : info.GetShape()) {
        dims.push_back(static_cast<int>(dim));
    }
    return dims;
}

}  // namespace

Tensor::Tensor() noexcept = default;

Tensor::Tensor(std::vector<int> dims) {
    CreatePlatformTensor(std::move(dims));
}

Tensor::Tensor(std::initializer_list<int> dims) : Tensor(std::vector<int>(dims)) {}

Tensor::Tensor(std::vector<int> dims, std::vector<float> values) : Tensor(std::move(dims)) {
    std::copy(values.begin(), values.end(), m_data);
}

Tensor::Tensor(std::vector<int> dims, std::initializer_list<float> values)
    : Tensor(std::move(dims)) {
    std::copy(values.begin(), values.end(), m_data);
}

Tensor::Tensor(std::vector<int> dims, float value) : Tensor(std::move(dims)) {
    std::fill_n(m_data, CountElements(m_dimensions), value);
}

Tensor::Tensor(void* platformTensor) {
    m_dimensions = SetPlatformTensor(platformTensor);
}

Tensor::Tensor(const Tensor& other) = default;
Tensor& Tensor::operator=(const Tensor& other) = default;
Tensor::~Tensor() = default;

void Tensor::CreatePlatformTensor(std::vector<int> dims) {
    SetStorage(Kernel::MakeCounted<ONNXTensor>(AllocateValue(dims)));
    m_dimensions = std::move(dims);
}

std::vector<int> Tensor::SetPlatformTensor(void* platformTensor) {
    const auto* const source = static_cast<const Kernel::Counted<ONNXTensor>*>(platformTensor);
    if (source == nullptr || !*source) {
        RefuseArgument("there is no platform tensor to share");
    }
    std::vector<int> dims = ReadShape((*source)->GetValue());
    SetStorage(*source);
    return dims;
}

void Tensor::DestroyPlatformTensor() noexcept {
    m_platformTensor = nullptr;
    m_data = nullptr;
}

void Tensor::SetStorage(Kernel::Counted<ONNXTensor> storage) {
    m_data = storage->GetValue().GetTensorMutableData<float>();
    m_platformTensor = std::move(storage);
}

}  // namespace Learning
