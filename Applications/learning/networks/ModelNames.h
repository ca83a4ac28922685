// The types of network by the names that the command line gives them.

#pragma once

#include "networks/Networks.h"

#include <array>
#include <string>
#include <vector>

namespace LearningApp {

struct NamedType {
    ModelType type;
    const char* name;
};

inline constexpr std::array<NamedType, 5> NamedTypes{{
    {ModelType::SegmentationEncoder, "SegmentationEncoder"},
    {ModelType::SegmentationDecoder, "SegmentationDecoder"},
    {ModelType::DepthEstimation, "DepthEstimation"},
    {ModelType::Colourisation, "Colourisation"},
    {ModelType::SuperResolution, "SuperResolution"},
}};

/// The types that `names` mean, each once and in the order of NamedTypes. In the names, case does
/// not matter; "all" means all types. Throws WrongUse if there is no type of a name.
std::vector<NamedType> ParseModelNames(const std::vector<std::string>& names);

}  // namespace LearningApp
