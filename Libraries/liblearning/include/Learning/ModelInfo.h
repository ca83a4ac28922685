// What a model says of itself: its inputs and outputs, and its metadata.

#pragma once

#include "Kernel/String.h"
#include "Learning/Export.h"

#include <cstdint>
#include <map>
#include <vector>

namespace Learning {

// All texts are the model's own: bytes of any kind, which are not checked.

/// An input or output of a model.
struct ModelValue {
    /// What it is made of. The numbers are those of ONNX's TypeProto.
    enum class Kind : std::uint32_t {
        Unknown = 0,
        Tensor = 1,
        Sequence = 4,
        Map = 5,
        SparseTensor = 8,
        Optional = 9,
    };

    /// The type of a tensor's elements. The numbers are those of ONNX's TensorProto.DataType; one
    /// that has no name here is of a type that is younger than this list.
    enum class ElementType : std::uint32_t {
        Unknown = 0,
        Float32 = 1,
        UInt8 = 2,
        Int8 = 3,
        UInt16 = 4,
        Int16 = 5,
        Int32 = 6,
        Int64 = 7,
        String = 8,
        Bool = 9,
        Float16 = 10,
        Float64 = 11,
        UInt32 = 12,
        UInt64 = 13,
        Complex64 = 14,
        Complex128 = 15,
        BFloat16 = 16,
        Float8E4M3FN = 17,
        Float8E4M3FNUZ = 18,
        Float8E5M2 = 19,
        Float8E5M2FNUZ = 20,
        UInt4 = 21,
        Int4 = 22,
    };

    struct Dimension {
        std::int64_t size = -1;  // -1: any
        Kernel::String name;     // of one that has any size; may be empty
    };

    Kernel::String name;
    Kind kind = Kind::Unknown;
    ElementType elementType = ElementType::Unknown;  // of a tensor
    /// Of a tensor, outermost first. The runtime does not tell one without dimensions from one of
    /// which the model does not say how many it has.
    std::vector<Dimension> dimensions;
};

struct ModelInfo {
    std::vector<ModelValue> inputs;  // in the model's order, without those that have a default
    std::vector<ModelValue> outputs;

    // Empty or 0 where the model does not say.
    Kernel::String producer;  // the program that has written the file
    Kernel::String domain;
    Kernel::String description;
    Kernel::String graphName;
    Kernel::String graphDescription;
    std::int64_t version = 0;                                // of the model, by its maker's count
    std::map<Kernel::String, Kernel::String> customEntries;  // by key
};

/// "float32", "int64", "string" and so on; "unknown" for a number without a name above.
LEARNING_API const char* GetElementTypeName(ModelValue::ElementType type) noexcept;

/// "tensor", "sequence", "map", "sparse tensor", "optional" or "unknown".
LEARNING_API const char* GetKindName(ModelValue::Kind kind) noexcept;

}  // namespace Learning
