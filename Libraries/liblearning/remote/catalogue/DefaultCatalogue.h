// The catalogue for those who can't have the service's own.

#pragma once

#include <string_view>

namespace Learning {

/// The text of DefaultCatalogue.json.
extern const std::string_view DefaultCatalogueJson;

}  // namespace Learning
