// What texts of libcurl must not repeat.

#pragma once

#include "Network/HttpRequest.h"

#include "settings/TransferSettings.h"

#include <string_view>

namespace Network {

/// Whether `text` contains a user or password of a proxy (from the settings or the environment) or
/// of the request's address, or the value of one of the request's headers or parameters.
bool ContainsSecret(std::string_view text, const Http::Request& request,
                    const TransferSettings& settings);

}  // namespace Network
