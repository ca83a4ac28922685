// The entity tags of HTTP (RFC 9110, 8.8.3), by which clients ask whether their copies are current.

#pragma once

#include "Server/Request.h"

#include <string_view>

namespace Service {

/// Whether the request's If-None-Match names `tag`, which holds no commas.
bool HasCopy(const Server::Request& request, std::string_view tag);

}  // namespace Service
