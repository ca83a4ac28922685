// Requests of remote operations, for hosts that want to see them before they are sent.

#pragma once

#include "Kernel/JsonFwd.h"
#include "Kernel/String.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>

namespace Learning {

/// A request that an operation is about to make. What it points to is the operation's own, and
/// lives until the host has been heard.
struct RemoteRequest {
    const char* method = "GET";  // of HTTP; a constant
    Kernel::String address;      // empty if it is for an answer to name
    /// Beside Host, Accept and those that say how the body is sent.
    std::map<Kernel::String, Kernel::String> headers;
    const Kernel::Json::Value* json = nullptr;  // the body, if it is JSON; pictures are in base64
    std::span<const std::byte> file;            // else the body; may be empty
    std::uint64_t size = 0;                     // of the body as it is sent, in bytes
    const RemoteRequest* next = nullptr;  // what follows if this succeeds, whatever the answer is
};

}  // namespace Learning
