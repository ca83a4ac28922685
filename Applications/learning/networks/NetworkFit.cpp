#include "networks/NetworkFit.h"

#include <algorithm>
#include <limits>

namespace LearningApp {

using Learning::ModelValue;

bool HoldsFloats(const ModelValue& value) noexcept {
    return value.kind == ModelValue::Kind::Tensor &&
           value.elementType == ModelValue::ElementType::Float32;
}

bool Takes(const ModelValue& value, const std::vector<int>& shape) {
    // Without dimensions the network may as well take any shape.
    return value.dimensions.empty() ||
           std::ranges::equal(value.dimensions, shape, [](const auto& wanted, int size) {
               return wanted.size < 0 || wanted.size == size;
           });
}

std::vector<int> FindPictureShape(const ModelValue& value, int width, int height) {
    const std::size_t rank = value.dimensions.size() < 3 ? 4 : value.dimensions.size();
    std::vector<int> shape(rank, 1);
    const std::int64_t channels =
        value.dimensions.size() < 3 ? -1 : value.dimensions[rank - 3].size;
    shape.end()[-3] = channels == 1 || channels == 4 ? static_cast<int>(channels) : 3;
    shape.end()[-2] = height;
    shape.end()[-1] = width;
    return shape;
}

NamedSizes FindNamedSizes(const Learning::ModelInfo& info,
                          const Learning::Model::TensorMap& inputs) {
    NamedSizes sizes;
    for (const ModelValue& value : info.inputs) {
        const auto input = inputs.find(value.name);
        const std::vector<int> shape =
            input != inputs.end() ? input->second->GetDimensions() : std::vector<int>();
        for (std::size_t i = 0; i < std::min(shape.size(), value.dimensions.size()); ++i) {
            const Kernel::String& name = value.dimensions[i].name;
            const auto [known, isNew] = sizes.try_emplace(name, shape[i]);
            if (name.empty() || (!isNew && known->second != shape[i])) {
                known->second.reset();
            }
        }
    }
    return sizes;
}

ModelValue Resolve(const ModelValue& value, const NamedSizes& sizes) {
    ModelValue resolved = value;
    for (ModelValue::Dimension& dimension : resolved.dimensions) {
        const auto found = sizes.find(dimension.name);
        if (dimension.size < 0 && found != sizes.end()) {
            dimension.size = found->second.value_or(-1);
        }
    }
    return resolved;
}

bool IsFixed(const ModelValue& value) {
    return std::ranges::all_of(value.dimensions,
                               [](const auto& dimension) { return dimension.size >= 0; });
}

std::vector<int> GetShape(const ModelValue& value) {
    constexpr std::int64_t Largest = std::numeric_limits<int>::max();
    std::vector<int> shape;
    for (const ModelValue::Dimension& dimension : value.dimensions) {
        shape.push_back(static_cast<int>(std::min(dimension.size, Largest)));
    }
    return shape;
}

}  // namespace LearningApp
