// Failures that come as exceptions.

#pragma once

#include "Network/HttpRequest.h"

#include <exception>

namespace Network {

/// Notes in `response` why the request has failed: reason and error of what was thrown. Returns its
/// text.
Kernel::String NoteThrown(const std::exception_ptr& thrown, Http::Response& response);

}  // namespace Network
