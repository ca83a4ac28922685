// The response of an operation, before it is sent.

#pragma once

#include "Server/Content.h"
#include "Server/Headers.h"

#include <string>
#include <utility>

namespace Service {

/// An HTTP response. The sender adds Content-Length, and leaves out the body for HEAD.
struct Response {
    int status = 200;
    Server::Headers headers;
    Server::Content body;
};

/// An error response with its reason as text.
inline Response Refuse(int status, std::string reason, Server::Headers headers = {}) {
    headers.emplace_back("Content-Type", "text/plain; charset=utf-8");
    return {status, std::move(headers), std::move(reason += '\n')};
}

}  // namespace Service
