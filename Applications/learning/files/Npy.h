// NumPy's .npy files of 32-bit floats, little-endian and in C order: see "numpy.lib.format" in the
// NumPy manual.

#pragma once

#include "Kernel/Counted.h"
#include "Learning/Tensor.h"

#include <string>
#include <string_view>
#include <vector>

namespace LearningApp {

class Source;

/// Whether the first bytes of a file are those of an .npy file.
bool IsNpy(std::string_view start);

/// Throws Failure, which names the file, unless it is whole and of that kind, and its shape passes
/// CheckShape().
Kernel::Counted<Learning::Tensor> LoadNpy(Source& source);

void SaveNpy(const Learning::Tensor& tensor, const std::string& path);

/// What is wrong with `shape`, such as "a dimension of 0": a dimension below 1, or more than 2^28
/// elements. Empty if nothing is.
std::string FindShapeFault(const std::vector<int>& shape);

/// The number of elements of `shape`. Throws Failure if something is wrong with it; `name` is what
/// the message calls it.
std::uint64_t CheckShape(const std::vector<int>& shape, const std::string& name);

/// For example "1x3x224x224", and "scalar" for no dimensions.
std::string ShapeToText(const std::vector<int>& shape);

}  // namespace LearningApp
