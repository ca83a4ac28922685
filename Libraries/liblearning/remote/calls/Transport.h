// Requests to the inference service.

#pragma once

#include "Kernel/JsonFwd.h"
#include "Kernel/MemoryInOutStream.h"

#include <string_view>

namespace Learning {

/// What the service has answered, whole.
struct ServiceReply {
    int status;  // of HTTP
    Kernel::Counted<Kernel::MemoryInOutStream> body;

    std::string_view GetText() const noexcept {
        const std::span<const std::byte> bytes = body->GetBytes();
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }
};

/// Sends `body` to the operation `name`, by the rules of all remote operations: the address is that
/// of the service and the name, the service may take its time to answer, and an answer of more than
/// 16 MiB is none. Throws Network::Http::Exception if there is no whole answer, that or
/// Kernel::Aborted if the operation is to end, and std::bad_alloc.
ServiceReply PostToService(const char* name, const Kernel::Json::Value& body);

}  // namespace Learning
