// The failure of an HTTP request.

#pragma once

#include "Network/Export.h"

#include <stdexcept>

namespace Network::Http {

/// Thrown for a request without a complete response. what() is Response::failure.
class NETWORK_API Exception : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~Exception() override;
};

}  // namespace Network::Http
