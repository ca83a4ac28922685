#include "inference/ModelInfoReader.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <string>

namespace Learning {

namespace {

using ElementType = ModelValue::ElementType;
using Kind = ModelValue::Kind;

// The runtime's numbers of element types are those of TensorProto.DataType.
static_assert(ONNX_TENSOR_ELEMENT_DATA_TYPE_FLOAT == static_cast<int>(ElementType::Float32));
static_assert(ONNX_TENSOR_ELEMENT_DATA_TYPE_INT64 == static_cast<int>(ElementType::Int64));
static_assert(ONNX_TENSOR_ELEMENT_DATA_TYPE_INT4 == static_cast<int>(ElementType::Int4));

constexpr std::int64_t NoVersion = std::numeric_limits<std::int64_t>::max();

Kind ToKind(ONNXType type) noexcept {
    switch (type) {
        case ONNX_TYPE_TENSOR:
            return Kind::Tensor;
        case ONNX_TYPE_SEQUENCE:
            return Kind::Sequence;
        case ONNX_TYPE_MAP:
            return Kind::Map;
        case ONNX_TYPE_SPARSETENSOR:
            return Kind::SparseTensor;
        case ONNX_TYPE_OPTIONAL:
            return Kind::Optional;
        case ONNX_TYPE_UNKNOWN:
        case ONNX_TYPE_OPAQUE:
            break;
    }
    return Kind::Unknown;
}

ModelValue ReadValue(const std::string& name, const Ort::TypeInfo& type) {
    ModelValue value;
    value.name = name;
    value.kind = ToKind(type.GetONNXType());
    if (value.kind != Kind::Tensor) {
        return value;
    }
    const auto tensor = type.GetTensorTypeAndShapeInfo();  // lends the names
    value.elementType = static_cast<ElementType>(tensor.GetElementType());
    const std::vector<const char*> names = tensor.GetSymbolicDimensions();
    for (const std::int64_t size : tensor.GetShape()) {
        const std::size_t index = value.dimensions.size();
        value.dimensions.push_back({std::max<std::int64_t>(size, -1), names[index]});
    }
    return value;
}

Kernel::String ToString(const Ort::AllocatedStringPtr& text) {
    return text.get();  // null, as for a key with a zero byte, is an empty text
}

}  // namespace

ModelInfo ReadModelInfo(const Ort::Session& session) {
    ModelInfo info;
    for (const std::string& name : session.GetInputNames()) {
        info.inputs.push_back(ReadValue(name, session.GetInputTypeInfo(info.inputs.size())));
    }
    for (const std::string& name : session.GetOutputNames()) {
        info.outputs.push_back(ReadValue(name, session.GetOutputTypeInfo(info.outputs.size())));
    }
    const Ort::ModelMetadata metadata = session.GetModelMetadata();
    Ort::AllocatorWithDefaultOptions allocator;
    info.producer = ToString(metadata.GetProducerNameAllocated(allocator));
    info.domain = ToString(metadata.GetDomainAllocated(allocator));
    info.description = ToString(metadata.GetDescriptionAllocated(allocator));
    info.graphName = ToString(metadata.GetGraphNameAllocated(allocator));
    info.graphDescription = ToString(metadata.GetGraphDescriptionAllocated(allocator));
    const std::int64_t version = metadata.GetVersion();
    info.version = version != NoVersion ? version : 0;
    for (const auto& key : metadata.GetCustomMetadataMapKeysAllocated(allocator)) {
        info.customEntries[ToString(key)] =
            ToString(metadata.LookupCustomMetadataMapAllocated(key.get(), allocator));
    }
    return info;
}

}  // namespace Learning
