#include "remote/catalogue/CatalogueReader.h"

#include "Kernel/Json.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace Learning {

namespace {

using Kernel::Json::Value;

// Each of these sets `target` and returns true if `value` is of its type.

bool Take(const Value& value, Kernel::String& target) {
    if (!value.is_string()) {
        return false;
    }
    target = value.get_ref<const Kernel::Json::String&>();
    return true;
}

bool Take(const Value& value, bool& target) {
    if (!value.is_boolean()) {
        return false;
    }
    target = value.get<bool>();
    return true;
}

/// Fractions are cut off. False also for what does not fit.
bool Take(const Value& value, std::int32_t& target) {
    using Limits = std::numeric_limits<std::int32_t>;
    if (!value.is_number()) {
        return false;
    }
    // Every number of 32 bits is a double; larger ones need not be exact to be out of range.
    const double number = std::trunc(value.get<double>());
    if (number < Limits::min() || number > Limits::max()) {
        return false;
    }
    target = static_cast<std::int32_t>(number);
    return true;
}

bool Take(const Value& value, std::vector<std::int32_t>& target) {
    target.clear();
    return value.is_array() && std::ranges::all_of(value, [&target](const Value& element) {
               return Take(element, target.emplace_back());
           });
}

/// The same for the member `key` of `element`; false also if there is none.
template <class T>
bool TakeMember(const Value& element, const char* key, T& target) {
    const auto member = element.find(key);
    return member != element.end() && Take(*member, target);
}

/// For a member that may be missing.
bool TakeFlag(const Value& element, const char* key, bool& target) {
    return element.find(key) == element.end() || TakeMember(element, key, target);
}

/// What models of all kinds have.
template <class Model>
bool TakeCommonMembers(const Value& element, Model& model) {
    return TakeMember(element, "modelName", model.modelName) &&
           TakeMember(element, "modelDescription", model.modelDescription) &&
           TakeMember(element, "modelKey", model.modelKey) &&
           TakeMember(element, "modelClass", model.modelClass) &&
           TakeMember(element, "modelPollStartMS", model.modelPollStartMS);
}

bool TakeModel(const Value& element, TextToImageModel& model) {
    return TakeCommonMembers(element, model) &&
           TakeMember(element, "modelMaxGenerations", model.modelMaxGenerations) &&
           TakeMember(element, "modelSupportsStyles", model.modelSupportsStyles) &&
           TakeMember(element, "modelSupportsVector", model.modelSupportsVector) &&
           TakeMember(element, "modelSupportsAspects", model.modelSupportsAspects) &&
           TakeMember(element, "modelSupportsReferenceImage", model.modelSupportsReferenceImage) &&
           TakeMember(element, "modelSupportsReferenceImageTypes",
                      model.modelSupportsReferenceImageTypes) &&
           TakeMember(element, "modelSupportsPromptEnhancement",
                      model.modelSupportsPromptEnhancement) &&
           TakeFlag(element, "modelIsDefault", model.modelIsDefault);
}

bool TakeModel(const Value& element, ImageToImageModel& model) {
    return TakeCommonMembers(element, model) &&
           TakeMember(element, "modelMaxDimension", model.modelMaxDimension) &&
           TakeMember(element, "modelMinDimension", model.modelMinDimension) &&
           TakeMember(element, "modelPixelAlignment", model.modelPixelAlignment) &&
           TakeMember(element, "modelAllowedWidths", model.modelAllowedWidths) &&
           TakeMember(element, "modelAllowedHeights", model.modelAllowedHeights) &&
           TakeMember(element, "modelMustBeSquare", model.modelMustBeSquare) &&
           TakeFlag(element, "modelIsDefault", model.modelIsDefault);
}

template <class Model>
void AppendModels(const Value& list, std::vector<Model>& models, Model& chosen) {
    for (const Value& element : list) {
        Model model;
        if (TakeModel(element, model)) {
            if (model.modelIsDefault) {
                chosen = model;
            }
            models.push_back(std::move(model));
        }
    }
}

}  // namespace

void ReadModels(const Value& list, std::vector<TextToImageModel>& models,
                TextToImageModel& chosen) {
    AppendModels(list, models, chosen);
}

void ReadModels(const Value& list, std::vector<ImageToImageModel>& models,
                ImageToImageModel& chosen) {
    AppendModels(list, models, chosen);
}

}  // namespace Learning
