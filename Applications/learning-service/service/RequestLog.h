// The log of requests.

#pragma once

#include "Server/ScriptedServer.h"

#include <iosfwd>
#include <mutex>
#include <string>
#include <string_view>

namespace Service {

/// Writes a line for each exchange. Lines that can't be written are counted, and their number is
/// written once it can be. Threads: any, at the same time.
class RequestLog {
public:
    /// Complains to `err` when it can't write to `out`.
    RequestLog(std::ostream& out, std::ostream& err) : m_out(out), m_err(err) {}

    /// Time, client, scheme, method, target, status, bytes sent and duration; the status as it was
    /// sent, and "-" for a field that is not known.
    void Write(const Server::Exchange& exchange);
    /// Writes `text` after the time.
    void WriteEvent(std::string_view text);
    /// Writes `text`, with control characters escaped.
    void WriteLine(std::string_view text);
    /// Calls `change` while nothing is written.
    template <class Change>
    void Pause(Change change) {
        const std::lock_guard lock(m_mutex);
        change();
    }

private:
    std::mutex m_mutex;
    std::ostream& m_out;
    std::ostream& m_err;
    std::size_t m_lostLines = 0;
};

}  // namespace Service
