// The failure of an HTTP request.

#pragma once

#include "Network/Export.h"

#include <stdexcept>

namespace Network::Http {

/// A request that got no complete response. what() is the line that Response::failure holds.
class NETWORK_API Exception : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~Exception() override;
};

}  // namespace Network::Http
