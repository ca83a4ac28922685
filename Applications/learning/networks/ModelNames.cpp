#include "networks/ModelNames.h"

#include "failures/Failure.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace LearningApp {

namespace {

bool IsSame(std::string_view left, std::string_view right) {
    return std::ranges::equal(left, right, [](unsigned char a, unsigned char b) {
        return std::tolower(a) == std::tolower(b);
    });
}

/// Whether `name` means `type`.
bool Means(std::string_view name, const NamedType& type) {
    return IsSame(name, "all") || IsSame(name, type.name);
}

std::string ListNames() {
    std::string list;
    for (const NamedType& type : NamedTypes) {
        list += std::string(type.name) + ", ";
    }
    return list + "all";
}

}  // namespace

std::vector<NamedType> ParseModelNames(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        if (std::ranges::none_of(NamedTypes, [&](const auto& type) { return Means(name, type); })) {
            throw WrongUse("there is no network %1; the names are %2", name, ListNames());
        }
    }
    std::vector<NamedType> types;
    std::ranges::copy_if(NamedTypes, std::back_inserter(types), [&](const NamedType& type) {
        return std::ranges::any_of(names, [&](const auto& name) { return Means(name, type); });
    });
    return types;
}

}  // namespace LearningApp
