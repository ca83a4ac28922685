// What an operation answers, before it is put on the wire.

#pragma once

#include "Server/Content.h"
#include "Server/Headers.h"

#include <string>
#include <utility>

namespace Service {

/// An HTTP response. The lengths are left to whoever sends it; so is leaving the body out for HEAD.
struct Response {
    int status = 200;
    Server::Headers headers;
    Server::Content body;
};

/// A response that says in words why there is nothing better.
inline Response Refuse(int status, std::string reason, Server::Headers headers = {}) {
    headers.emplace_back("Content-Type", "text/plain; charset=utf-8");
    return {status, std::move(headers), std::move(reason += '\n')};
}

}  // namespace Service
