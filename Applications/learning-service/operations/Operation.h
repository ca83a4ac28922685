// The interface of the service's operations.

#pragma once

#include "Server/Request.h"

#include "operations/Response.h"

#include <cstddef>
#include <string>

namespace Service {

/// Answers the requests below one path. Each operation has a folder of its own.
///
/// Threads: requests come in at the same time.
class Operation {
public:
    virtual ~Operation() = default;

    /// `path` is the part of the target after the one that the operation is mounted at, without
    /// query, its escapes decoded: any bytes but control characters. What is thrown becomes a 500.
    virtual Response Handle(const Server::Request& request, const std::string& path) const = 0;

    /// The most bytes that the body of a request may have.
    virtual std::size_t GetBodyLimit() const noexcept { return std::size_t{1} << 20; }
};

}  // namespace Service
