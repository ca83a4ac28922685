// Models of the inference service by the keys that the user names.

#pragma once

#include "Kernel/String.h"

#include "failures/Failure.h"
#include "failures/Suggestion.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace LearningApp {

/// The model of that key, or the default one if it is empty. Throws WrongUse if there is none;
/// `isTold`: whether the service has been asked for its models.
template <class Model>
Model ChooseModel(const std::vector<Model>& models, const Model& byDefault, const std::string& key,
                  bool isTold) {
    if (key.empty() && !byDefault.modelKey.empty()) {
        return byDefault;
    }
    const auto found = std::ranges::find(models, Kernel::String(key), &Model::modelKey);
    if (found != models.end() && !key.empty()) {
        return *found;
    }
    std::vector<std::string> keys;
    keys.reserve(models.size());
    for (const Model& model : models) {
        keys.emplace_back(std::string_view(model.modelKey));
    }
    throw WrongUse("%1 no model %2 for this%3\nRun learning catalogue%4.",
                   isTold ? "the service has" : "without asking the service there is",
                   key.empty() ? "by default" : key, Suggest(key, keys),
                   isTold ? "" : " --offline");
}

/// The model of that key. If the service does not offer it any more, one that knows nothing but it:
/// its results can be fetched even so.
template <class Model>
Model FindModel(const std::vector<Model>& models, const std::string& key) {
    const auto found = std::ranges::find(models, Kernel::String(key), &Model::modelKey);
    if (found != models.end()) {
        return *found;
    }
    Model model;
    model.modelKey = key;
    return model;
}

}  // namespace LearningApp
