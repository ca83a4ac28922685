#include "Learning/ModelInfo.h"

#include <array>

namespace Learning {

const char* GetElementTypeName(ModelValue::ElementType type) noexcept {
    // By the numbers of the enumeration.
    static constexpr std::array Names{"unknown",
                                      "float32",
                                      "uint8",
                                      "int8",
                                      "uint16",
                                      "int16",
                                      "int32",
                                      "int64",
                                      "string",
                                      "bool",
                                      "float16",
                                      "float64",
                                      "uint32",
                                      "uint64",
                                      "complex64",
                                      "complex128",
                                      "bfloat16",
                                      "float8_e4m3fn",
                                      "float8_e4m3fnuz",
                                      "float8_e5m2",
                                      "float8_e5m2fnuz",
                                      "uint4",
                                      "int4"};
    const auto index = static_cast<std::size_t>(type);
    return index < Names.size() ? Names[index] : Names.front();
}

const char* GetKindName(ModelValue::Kind kind) noexcept {
    switch (kind) {
        case ModelValue::Kind::Tensor:
            return "tensor";
        case ModelValue::Kind::Sequence:
            return "sequence";
        case ModelValue::Kind::Map:
            return "map";
        case ModelValue::Kind::SparseTensor:
            return "sparse tensor";
        case ModelValue::Kind::Optional:
            return "optional";
        case ModelValue::Kind::Unknown:
            break;
    }
    return "unknown";
}

}  // namespace Learning
