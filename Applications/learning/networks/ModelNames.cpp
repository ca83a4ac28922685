#include "networks/ModelNames.h"

#include "failures/Failure.h"
#include "failures/Suggestion.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <iterator>

namespace LearningApp {

namespace {

/// A forgiving name, in the form that Simplify() gives.
struct ShortName {
    const char* name;
    ModelType type;
};

constexpr std::array<ShortName, 10> ShortNames{{
    {"segment", ModelType::SegmentationEncoder},
    {"segment", ModelType::SegmentationDecoder},
    {"segmentation", ModelType::SegmentationEncoder},
    {"segmentation", ModelType::SegmentationDecoder},
    {"depth", ModelType::DepthEstimation},
    {"colorise", ModelType::Colourisation},
    {"colorisation", ModelType::Colourisation},
    {"colourise", ModelType::Colourisation},
    {"superresolve", ModelType::SuperResolution},
    {"superresolution", ModelType::SuperResolution},
}};

/// `name` without what people write in different ways: case, hyphens and American spelling.
std::string Simplify(std::string_view name) {
    std::string simple;
    for (const char c : name) {
        if (c != '-' && c != '_') {
            const int lower = std::tolower(static_cast<unsigned char>(c));
            simple += lower == 'z' ? 's' : static_cast<char>(lower);
        }
    }
    return simple;
}

/// Whether `name` means `type`.
bool Means(std::string_view name, const NamedType& type) {
    const std::string simple = Simplify(name);
    return simple == "all" || simple == Simplify(type.name) ||
           std::ranges::any_of(ShortNames, [&](const ShortName& known) {
               return known.type == type.type && known.name == simple;
           });
}

/// What messages list.
std::vector<std::string> GetNames() {
    std::vector<std::string> names{"depth", "colourise", "super-resolve", "segment"};
    for (const NamedType& type : NamedTypes) {
        names.emplace_back(type.name);
    }
    names.emplace_back("all");
    return names;
}

std::string ListNames() {
    std::string list;
    for (const std::string& name : GetNames()) {
        list += (list.empty() ? "" : ", ") + name;
    }
    return list;
}

}  // namespace

std::vector<NamedType> FindModels(std::string_view name) {
    std::vector<NamedType> types;
    std::ranges::copy_if(NamedTypes, std::back_inserter(types),
                         [name](const NamedType& type) { return Means(name, type); });
    return types;
}

std::string SuggestModel(std::string_view name) {
    return Suggest(name, GetNames());
}

std::vector<NamedType> ParseModelNames(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        if (FindModels(name).empty()) {
            throw WrongUse("there is no network %1%2\nThe names are %3.", name, SuggestModel(name),
                           ListNames());
        }
    }
    std::vector<NamedType> types;
    std::ranges::copy_if(NamedTypes, std::back_inserter(types), [&](const NamedType& type) {
        return std::ranges::any_of(names, [&](const auto& name) { return Means(name, type); });
    });
    return types;
}

}  // namespace LearningApp
