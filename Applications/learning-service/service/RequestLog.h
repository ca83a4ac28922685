// The log of requests.

#pragma once

#include "Server/ScriptedServer.h"

#include <iosfwd>
#include <mutex>
#include <string>
#include <string_view>

namespace Service {

/// Writes a line for each exchange. Threads: any, at the same time.
class RequestLog {
public:
    explicit RequestLog(std::ostream& out) : m_out(out) {}

    /// Time, client, scheme, method, target, status, bytes sent and duration; the status as it was
    /// sent, and "-" for a field that is not known.
    void Write(const Server::Exchange& exchange);
    /// Writes `text`, with control characters escaped.
    void WriteLine(std::string_view text);

private:
    std::mutex m_mutex;
    std::ostream& m_out;
};

}  // namespace Service
