// The catalogue that is compiled into the clients, too.

#pragma once

#include <string_view>

namespace Service {

/// The text of Libraries/liblearning/remote/catalogue/DefaultCatalogue.json.
extern const std::string_view DefaultCatalogue;

}  // namespace Service
