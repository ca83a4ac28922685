// A request as the server read it.

#pragma once

#include "Server/Headers.h"

#include <string>

namespace Server {

/// An HTTP request with its whole body. Its target and headers hold no control characters but tabs.
struct Request {
    std::string method;
    std::string target;  // as it came: with its query, its escapes, or a whole URL
    Headers headers;
    std::string body;    // chunks already joined
    int connection = 0;  // counted from 1 in the order of arrival
    bool isOverTls = false;
    std::string peer;     // the client's address and port
    bool isLast = false;  // its connection should not be kept: the client, or a limit, wants so
};

}  // namespace Server
