// Callbacks of an HTTP request.

#pragma once

#include "Kernel/LocalisedString.h"
#include "Network/HttpProgress.h"
#include "Network/HttpRequest.h"

#include <functional>

namespace Network::Http {

using CompletionHandler = std::function<void(const Request&, Response)>;
using ResponseHandler = std::function<void()>;
using StatusHandler = std::function<void(Kernel::LocalisedString)>;
using ProgressHandler = std::function<void(ProgressInformation)>;

}  // namespace Network::Http
