// An HTTP server that plays scripts, correct or faulty: for tests of clients, and for the program
// `learning-service`.

#pragma once

#include "Server/CertificateAuthority.h"
#include "Server/Loopback.h"
#include "Server/Request.h"
#include "Server/Script.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Server {

/// One request and its answer, or a connection that ended without any, for logs.
struct Exchange {
    Request request;         // with an empty method if none could be read
    std::string statusLine;  // the first line of what was sent, at most 80 bytes; may be empty
    std::uint64_t bytesSent = 0;
    std::chrono::nanoseconds duration{};
    std::string problem;  // why it ended before its script did; empty if it did not
};

/// Listens on this machine and answers each request with a script. A connection has one request,
/// unless the script keeps it for the next.
///
///     ScriptedServer server({}, [](const Request&) {
///         return Script{Send{"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc"}, Reset{}};
///     });
///     Fetch("http://127.0.0.1:" + std::to_string(server.GetPort()) + "/");
///     EXPECT_EQ(server.GetRequests().at(0).method, "GET");
///
/// A request that can't be read is answered with 400, 408 (too slow), 413 (body too long), 431
/// (head too long) or 503 (too many large bodies), one that asks for it (`Expect`) with 100 first.
/// Scripts keep connections as they like; Request::isLast tells when they should not, also because
/// too few threads are left. Time is real time, whatever clock the process uses elsewhere.
///
/// Threads: any may call. Each connection has a thread to itself, on which the functions given here
/// are called: they may run at the same time, and must not destroy the server.
class ScriptedServer {
public:
    /// Answers a request. If it throws, the answer is 500 with the exception's text as body.
    using Handler = std::function<Script(const Request& request)>;
    /// Answers connection number `connection` as soon as it is accepted, before TLS and before any
    /// request: for servers that say nothing, hang up at once or break the handshake. Nothing to
    /// let the connection go on as usual.
    using Greeting = std::function<std::optional<Script>(int connection)>;
    /// Is told of each exchange when it has ended. What it throws is dropped.
    using Observer = std::function<void(const Exchange& exchange)>;

    struct Options {
        Loopback loopback = Loopback::IPv4;
        int port = 0;                      // 0: any that is free
        std::optional<Identity> identity;  // speaks TLS if there is one
        Greeting greeting;
        Observer observer;
        /// Passes for a proxy that leads to this server: each connection starts with a CONNECT,
        /// which is recorded and answered with 200 before TLS.
        bool isProxy = false;
        std::size_t maxConnections = 1024;  // each has a thread, and more have to wait
        std::size_t maxHeadSize = std::size_t{64} << 10;
        std::size_t maxBodySize = std::size_t{64} << 20;
        /// How large the body may be that follows this head; none: as maxBodySize says.
        std::function<std::size_t(const Request& head)> bodyLimit;
        /// Of all bodies above 64 KiB that are in memory. Those of further requests are not read
        /// until there is room, for a while: then the answer is 503. One alone may be larger.
        std::size_t maxBodiesSize = std::size_t{256} << 20;
        std::size_t maxRecorded = 10'000;        // requests that GetRequests() keeps
        std::chrono::milliseconds idle{30'000};  // how long a client may neither send nor take
        /// How long a client may take for a whole request, with TLS before it.
        std::chrono::milliseconds requestTime{60'000};
        std::chrono::milliseconds keepTime{30'000};  // how long a kept connection may be silent
        int maxRequests = 10'000;  // on a connection, before Request::isLast is set
    };

    /// Throws std::runtime_error if the port can't be bound or the identity is malformed.
    ScriptedServer(Options options, Handler handler);
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;
    /// Closes all connections and ends, without waiting for steps of scripts or slow clients.
    ~ScriptedServer();

    int GetPort() const noexcept;
    /// Where it listens: "127.0.0.1:80", "[::1]:80" or the two in this order.
    std::vector<std::string> GetAddresses() const;

    /// The requests read so far, in the order in which they were.
    std::vector<Request> GetRequests() const;
    /// How many connections were accepted, with or without a request.
    int GetConnectionCount() const;

    /// Waits until `count` requests have been read; false if `timeout` passes first.
    [[nodiscard]] bool WaitForRequests(std::size_t count, std::chrono::milliseconds timeout) const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace Server
