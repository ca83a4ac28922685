// Requests to the inference service.

#pragma once

#include "Kernel/JsonFwd.h"
#include "Kernel/MemoryInOutStream.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace Learning {

/// No other status of HTTP is a success here.
inline constexpr int SuccessStatus = 200;

/// What the service has answered, whole.
struct ServiceReply {
    int status;  // of HTTP
    Kernel::Counted<Kernel::MemoryInOutStream> body;

    std::string_view GetText() const noexcept {
        const std::span<const std::byte> bytes = body->GetBytes();
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }
};

// The rules of all requests: the controls are asked for each, the service may take its time to
// answer, and what is larger than the limit is no answer. They throw Network::Http::Exception if
// there is no whole answer, that or Kernel::Aborted if the operation is to end, and std::bad_alloc.

/// Sends `body` to the operation `name`, whose address is that of the service and the name. The
/// answer has at most 16 MiB.
ServiceReply PostToService(const char* name, const Kernel::Json::Value& body);

/// The same for what begins an operation, which the controls hear of. `upload`, if it is not empty,
/// is the file that goes to UploadFile() after a success.
ServiceReply SubmitToService(const char* name, const Kernel::Json::Value& body,
                             std::span<const std::byte> upload = {});

/// Fetches a file that the service has made, from wherever it is.
ServiceReply DownloadFile(const Kernel::String& address, std::uint64_t maximumSize);

/// Puts a file where the service wants it, and returns the status of HTTP.
int UploadFile(const Kernel::String& address, std::vector<std::byte> bytes);

}  // namespace Learning
