// The types of network by the names that the command line gives them.

#pragma once

#include "networks/Networks.h"

#include <array>
#include <string>
#include <string_view>
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

/// The types that `name` means, in the order of NamedTypes: one of its names, "all", or the name of
/// the command that uses them, such as "segment". Case, hyphens and American spelling do not
/// matter. Empty if it means none.
std::vector<NamedType> FindModels(std::string_view name);

/// As Suggest(), for a name that FindModels() does not find.
std::string SuggestModel(std::string_view name);

/// The types that `names` mean, each once and in the order of NamedTypes. Throws WrongUse if a name
/// means none.
std::vector<NamedType> ParseModelNames(const std::vector<std::string>& names);

}  // namespace LearningApp
