#include "sessions/ConnectionPool.h"

#include <algorithm>
#include <utility>

namespace Network {

namespace {

/// Whether the server has closed the connection, or sent what no request has asked for: libcurl
/// would take that for the next response.
bool HasInput(const Connection& connection) noexcept {
    if (connection.socket == CURL_SOCKET_BAD) {
        return false;
    }
    curl_waitfd input{connection.socket, CURL_WAIT_POLLIN, 0};
    int count = 0;
    return curl_multi_poll(connection.driver.get(), &input, 1, 0, &count) != CURLM_OK || count > 0;
}

}  // namespace

CurlDriver ConnectionPool::Take(const Kernel::String& purpose) {
    for (;;) {
        Connection connection = TakeAny(purpose);
        if (!connection.driver) {
            CurlDriver driver = MakeCurlDriver();
            curl_multi_setopt(driver.get(), CURLMOPT_MAXCONNECTS, 1L);
            return driver;
        }
        if (!HasInput(connection)) {
            return std::move(connection.driver);
        }
    }
}

/// The connection that was given back last for `purpose`; without a driver if there is none.
Connection ConnectionPool::TakeAny(const Kernel::String& purpose) {
    const std::lock_guard lock(m_mutex);
    const auto found = std::find_if(m_idle.rbegin(), m_idle.rend(),
                                    [&](const Idle& idle) { return idle.purpose == purpose; });
    if (found == m_idle.rend()) {
        return {};
    }
    Connection connection = std::move(found->connection);
    m_idle.erase(std::next(found).base());
    return connection;
}

void ConnectionPool::Give(const Kernel::String& purpose, Connection connection) noexcept {
    Connection oldest;  // closed without the lock
    const std::lock_guard lock(m_mutex);
    m_idle.push_back({purpose, std::move(connection)});
    if (m_idle.size() > MaximumIdle) {
        oldest = std::move(m_idle.front().connection);
        m_idle.erase(m_idle.begin());
    }
}

}  // namespace Network
