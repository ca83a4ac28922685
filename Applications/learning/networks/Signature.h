// What networks take and give, in words. A network's own texts are made printable.

#pragma once

#include "Learning/Device.h"
#include "Learning/ModelInfo.h"

#include <cstddef>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace LearningApp {

/// For example "[1, 3, height, ?]": a dimension of any size by its name, if it has one.
std::string ShowShape(const Learning::ModelValue& value);
/// The type of its elements, or what it is in place of a tensor.
const char* GetTypeName(const Learning::ModelValue& value) noexcept;

/// One line for each: name, type and shape; of more than `most` the first ones, and how many more.
std::string ListValues(const std::vector<Learning::ModelValue>& values,
                       std::size_t most = std::numeric_limits<std::size_t>::max());
/// What messages tell of a network: "The network takes ... and gives ...", in several lines.
std::string ShowSignature(const Learning::ModelInfo& info);

/// The one of that name; null if there is none.
const Learning::ModelValue* FindValue(const std::vector<Learning::ModelValue>& values,
                                      std::string_view name);
std::vector<std::string> GetNames(const std::vector<Learning::ModelValue>& values);

/// "CPU", "GPU", "NPU" or "unknown".
const char* GetDeviceName(Learning::Device::Kind kind) noexcept;

}  // namespace LearningApp
