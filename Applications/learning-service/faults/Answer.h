// A response with the manner of its sending, which faults change.

#pragma once

#include "Server/Script.h"

#include "operations/Response.h"

#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace Server {
struct Request;
}

namespace Service {

/// A response and how it is sent.
struct Answer {
    std::chrono::milliseconds delay{};  // before anything is sent
    std::string target;                 // of the request
    std::string statusLine;
    Server::Headers headers;
    bool hasBody = true;                // responses to HEAD, and 304, have none at all
    std::vector<Server::Content> body;  // one after the other; a single one before the first fault
    std::uint64_t limit = std::numeric_limits<std::uint64_t>::max();  // bytes of body to send
    std::size_t pace = 0;  // bytes per 100 ms; 0 for as fast as can be
    Server::Script ending{Server::Close{}};
};

/// `response` as it should be sent: with its length, and with the connection kept unless `request`
/// is its last.
Answer MakeAnswer(const Server::Request& request, const Response& response);

Server::Script MakeScript(const Answer& answer);

}  // namespace Service
