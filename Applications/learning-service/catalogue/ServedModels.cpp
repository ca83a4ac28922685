#include "catalogue/ServedModels.h"

#include "Kernel/Json.h"

namespace Service {

namespace {

using JsonValue = Kernel::Json::Value;

/// The element of that list whose "modelKey" is `key`; null if there is none.
JsonValue FindModel(const std::string& catalogue, const char* list, std::string_view key) {
    const std::optional<JsonValue> whole = Kernel::Json::Parse(catalogue);
    if (!whole || !whole->is_object() || !whole->contains(list)) {
        return {};
    }
    const JsonValue wanted = Kernel::String(key);
    for (const JsonValue& model : whole->at(list)) {
        if (model.is_object() && model.contains("modelKey") && model.at("modelKey") == wanted) {
            return model;
        }
    }
    return {};
}

template <class T>
T GetMember(const JsonValue& model, const char* name) {
    const auto member = model.find(name);
    const bool isFit =
        member != model.end() &&
        (std::is_same_v<T, bool> ? member->is_boolean() : member->is_number_integer());
    return isFit ? member->get<T>() : T();
}

}  // namespace

std::optional<DrawingModel> ServedModels::FindDrawing(std::string_view key) const {
    const JsonValue model = FindModel(m_catalogue.Read(), "textToImage", key);
    if (model.is_null()) {
        return {};
    }
    return DrawingModel{GetMember<int>(model, "modelMaxGenerations"),
                        GetMember<bool>(model, "modelSupportsReferenceImage"),
                        GetMember<bool>(model, "modelSupportsReferenceImageTypes"),
                        GetMember<bool>(model, "modelSupportsPromptEnhancement")};
}

std::optional<EditingModel> ServedModels::FindEditing(std::string_view key) const {
    const JsonValue model = FindModel(m_catalogue.Read(), "imageToImage", key);
    if (model.is_null()) {
        return {};
    }
    return EditingModel{GetMember<int>(model, "modelPixelAlignment"),
                        GetMember<bool>(model, "modelMustBeSquare")};
}

}  // namespace Service
