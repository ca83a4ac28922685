// What the catalogue says of the models that requests name.

#pragma once

#include "catalogue/CatalogueOperation.h"

#include <optional>
#include <string>
#include <string_view>

namespace Service {

/// A model that makes pictures from words.
struct DrawingModel {
    int maxCount = 0;  // of pictures
    bool takesGuidance = false;
    bool takesGuidanceTypes = false;
    bool enhancesPrompts = false;
};

/// A model that changes pictures.
struct EditingModel {
    int alignment = 0;  // of sides; 0 for none
    bool mustBeSquare = false;
};

/// The models of a catalogue, which is read anew each time. What is not there, or not as clients
/// expect it, is not served.
class ServedModels {
public:
    /// `file` is as for CatalogueOperation.
    explicit ServedModels(std::string file) : m_catalogue(std::move(file)) {}

    std::optional<DrawingModel> FindDrawing(std::string_view key) const;
    std::optional<EditingModel> FindEditing(std::string_view key) const;

private:
    CatalogueOperation m_catalogue;
};

}  // namespace Service
