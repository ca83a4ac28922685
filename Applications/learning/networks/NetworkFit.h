// Shapes: what fits into a network, and what will come out.

#pragma once

#include "Learning/Model.h"
#include "Learning/ModelInfo.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace LearningApp {

/// Whether it is a tensor of 32-bit floats.
bool HoldsFloats(const Learning::ModelValue& value) noexcept;

/// Whether the network takes a tensor of that shape.
bool Takes(const Learning::ModelValue& value, const std::vector<int>& shape);

/// The shape in which `value` takes a picture: {1, channels, height, width} with as many ones
/// before it as the network has, the channels being 1, 3 or 4 if the network says so, else 3.
std::vector<int> FindPictureShape(const Learning::ModelValue& value, int width, int height);

/// The sizes of named dimensions; nothing for a name that has two.
using NamedSizes = std::map<Kernel::String, std::optional<std::int64_t>>;

/// Those that follow from the shapes of `inputs`.
NamedSizes FindNamedSizes(const Learning::ModelInfo& info,
                          const Learning::Model::TensorMap& inputs);

/// `value` with the sizes that follow from the names of its dimensions.
Learning::ModelValue Resolve(const Learning::ModelValue& value, const NamedSizes& sizes);

/// Whether every dimension has one size.
bool IsFixed(const Learning::ModelValue& value);
/// Of a fixed one. What is too large for an int becomes the largest.
std::vector<int> GetShape(const Learning::ModelValue& value);

}  // namespace LearningApp
