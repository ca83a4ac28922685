// The arguments of `learning run`.

#pragma once

#include "Kernel/Counted.h"
#include "Learning/Tensor.h"
#include "Raster/DynamicBitmap.h"

#include <string>
#include <string_view>
#include <vector>

namespace LearningApp {

/// What an input is filled from.
struct InputSource {
    std::string name;
    std::string file;  // or pipe; empty: it is in the argument
    Kernel::Counted<Learning::Tensor> tensor;
    Kernel::Counted<Raster::DynamicBitmap> photo;  // if there is no tensor
};

/// Where an output goes.
struct OutputTarget {
    std::string argument;  // for messages
    std::string target;    // "NAME" or "NAME:SHAPE": only the network tells which
    std::string file;      // or pipe, for an .npy file; empty: print it
};

/// Reads "NAME=SOURCE" and the file that it names, if it does. Throws WrongUse, or what the reading
/// throws.
std::vector<InputSource> ReadInputs(const std::vector<std::string>& arguments);

/// Reads "NAME", "NAME:SHAPE" and either with "=FILE". Throws WrongUse; also if a file would take
/// the place of another one or of one of `sources`. Throws Failure if one can't be written.
std::vector<OutputTarget> ParseOutputs(const std::vector<std::string>& arguments,
                                       std::vector<std::string> sources);

/// "1x3x224x224", or nothing for a scalar. Throws WrongUse, which shows `argument`.
std::vector<int> ParseShape(std::string_view text, const std::string& argument);

}  // namespace LearningApp
