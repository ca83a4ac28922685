#include "Server/ScriptedServer.h"

#include "http/RequestReader.h"
#include "scripts/ScriptPlayer.h"
#include "sockets/Listener.h"
#include "tls/TlsTransport.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

namespace Server {

namespace {

using SteadyClock = std::chrono::steady_clock;

Script ReplyInWords(int status, const char* text) {
    return Reply(status, {{"Content-Type", "text/plain"}}, std::string(text) + "\n");
}

/// A connection, and what is needed to talk over it.
struct Connection {
    std::unique_ptr<Socket> socket;
    std::optional<TlsTransport> tls;
    std::optional<RequestReader> reader;  // once the server may listen
    int requestCount = 0;
    std::size_t room = 0;  // taken for the body of the request

    Transport& GetTransport() { return tls ? static_cast<Transport&>(*tls) : *socket; }
    void Close() {
        reader.reset();
        tls.reset();
        socket.reset();
    }
};

}  // namespace

// Its threads take connections in turn. Whenever the last idle one takes a connection, one more is
// started, up to the limit; so few are idle, and none is made for each connection.
struct ScriptedServer::State {
    State(Options givenOptions, Handler givenHandler)
        : options(std::move(givenOptions)), handler(std::move(givenHandler)) {}

    void Start();
    void Stop();

    void Work();
    void AddThread();
    void Serve(std::unique_ptr<Socket> socket, int number) noexcept;
    bool AwaitNext(Connection& connection) const noexcept;
    void Observe(const Exchange& exchange) const noexcept;
    bool Converse(Connection& connection, Exchange& exchange);
    std::optional<Script> Begin(Connection& connection, Exchange& exchange);
    RequestLimits GetLimits(Connection& connection);
    void MakeRoom(Connection& connection, std::size_t size);
    void GiveRoomBack(Connection& connection) noexcept;
    void Tunnel(Socket& socket, int number);
    Ending PlayScript(ScriptPlayer& player, const Script& script, Exchange& exchange) const;
    Script Answer(Connection& connection, Exchange& exchange);
    bool IsLast(int requestsOfConnection) const;
    void Record(const Request& request);

    const Options options;
    const Handler handler;
    const TlsContextPointer tls = options.identity ? MakeTlsContext(*options.identity) : nullptr;
    Listener listener{options.loopback, options.port, options.idle};

    mutable std::mutex mutex;  // of all below
    mutable std::condition_variable requestCame;
    std::condition_variable roomCame;  // or the end
    std::vector<std::thread> threads;
    std::size_t idleThreads = 0;
    bool isStopping = false;
    int connectionCount = 0;
    std::size_t requestCount = 0;
    std::vector<Request> requests;
    std::size_t bodiesSize = 0;  // for which there is room taken
};

void ScriptedServer::State::Start() {
    const std::lock_guard lock(mutex);
    AddThread();
}

void ScriptedServer::State::Stop() {
    {
        const std::lock_guard lock(mutex);
        isStopping = true;  // no thread is added from here on
        roomCame.notify_all();
    }
    listener.Stop();
    for (std::thread& thread : threads) {
        thread.join();
    }
}

void ScriptedServer::State::AddThread() {
    threads.emplace_back([this] { Work(); });
    ++idleThreads;
}

void ScriptedServer::State::Work() {
    for (;;) {
        std::unique_ptr<Socket> socket = listener.Accept();
        int number = 0;
        {
            const std::lock_guard lock(mutex);
            if (isStopping) {
                return;
            }
            number = ++connectionCount;
            if (--idleThreads == 0 && threads.size() < options.maxConnections) {
                try {
                    AddThread();
                } catch (const std::exception&) {  // the threads that there are will do
                }
            }
        }
        Serve(std::move(socket), number);
        const std::lock_guard lock(mutex);
        ++idleThreads;
    }
}

void ScriptedServer::State::Serve(std::unique_ptr<Socket> socket, int number) noexcept {
    Connection connection{std::move(socket), {}, {}, 0, 0};
    bool isKept = false;
    do {
        Exchange exchange;
        const auto start = SteadyClock::now();
        connection.socket->SetDeadline(start + options.requestTime);
        try {
            exchange.request.connection = number;
            exchange.request.isOverTls = tls != nullptr;
            exchange.request.peer = connection.socket->GetPeer();
            isKept = Converse(connection, exchange);
        } catch (const std::exception& exception) {
            isKept = false;
            exchange.problem = exception.what();
        }
        if (!isKept) {
            connection.Close();  // before it is observed
        }
        exchange.duration = SteadyClock::now() - start;
        Observe(exchange);
        exchange.request.body = {};
        GiveRoomBack(connection);
    } while (isKept && AwaitNext(connection));
}

bool ScriptedServer::State::AwaitNext(Connection& connection) const noexcept {
    connection.socket->SetDeadline(SteadyClock::now() + options.keepTime);
    return connection.reader->AwaitNext();
}

void ScriptedServer::State::Observe(const Exchange& exchange) const noexcept {
    try {
        if (options.observer) {
            options.observer(exchange);
        }
    } catch (...) {  // as documented, what an observer throws is dropped
    }
}

/// Makes one exchange; true if the connection is kept for another.
bool ScriptedServer::State::Converse(Connection& connection, Exchange& exchange) {
    Socket& socket = *connection.socket;
    if (!connection.reader) {
        if (const auto script = Begin(connection, exchange)) {
            ScriptPlayer player(socket, socket);
            PlayScript(player, *script, exchange);
            return false;
        }
    }
    ScriptPlayer player(socket, connection.GetTransport());
    return PlayScript(player, Answer(connection, exchange), exchange) == Ending::Keep;
}

/// Does what a proxy does before it only passes bytes on.
void ScriptedServer::State::Tunnel(Socket& socket, int number) {
    Request request;
    request.connection = number;
    const RequestLimits limits{options.maxHeadSize, [](const Request&) { return std::size_t{0}; },
                               [](std::size_t) {}};
    RequestReader(socket, limits).Read(request);
    Record(request);
    socket.Send(FormatHead(200, {}));
}

/// Makes the connection ready for requests, or returns a last word, to be said without TLS.
std::optional<Script> ScriptedServer::State::Begin(Connection& connection, Exchange& exchange) {
    const int number = exchange.request.connection;
    if (options.greeting) {
        if (auto script = options.greeting(number)) {
            return script;
        }
    }
    if (options.isProxy) {
        Tunnel(*connection.socket, number);
    }
    if (tls) {
        try {
            connection.tls.emplace(*tls, *connection.socket);
        } catch (const NotEncrypted& mistake) {  // whose client reads words, but no alert of TLS
            exchange.problem = mistake.what();
            return ReplyInWords(400, mistake.what());
        }
    }
    connection.reader.emplace(connection.GetTransport(), GetLimits(connection));
    return {};
}

RequestLimits ScriptedServer::State::GetLimits(Connection& connection) {
    return {options.maxHeadSize,
            [this](const Request& head) {
                return options.bodyLimit ? options.bodyLimit(head) : options.maxBodySize;
            },
            [this, &connection](std::size_t size) { MakeRoom(connection, size); }};
}

/// Waits until there is room for a body, which the client sends meanwhile as far as its system
/// takes it.
void ScriptedServer::State::MakeRoom(Connection& connection, std::size_t size) {
    constexpr std::size_t SmallSize = std::size_t{64} << 10;
    if (size <= SmallSize) {
        return;
    }
    const auto hasRoom = [&] {
        const std::size_t rest =
            options.maxBodiesSize - std::min(bodiesSize, options.maxBodiesSize);
        return bodiesSize == 0 || size <= rest;
    };
    std::unique_lock lock(mutex);
    roomCame.wait_for(lock, options.requestTime / 2, [&] { return hasRoom() || isStopping; });
    if (!hasRoom()) {
        throw BadRequest(503, "there are too many large requests; try again later");
    }
    bodiesSize += size;
    connection.room = size;
}

void ScriptedServer::State::GiveRoomBack(Connection& connection) noexcept {
    if (connection.room > 0) {
        const std::lock_guard lock(mutex);
        bodiesSize -= std::exchange(connection.room, 0);
        roomCame.notify_all();
    }
}

Ending ScriptedServer::State::PlayScript(ScriptPlayer& player, const Script& script,
                                         Exchange& exchange) const {
    const auto note = [&] {
        exchange.bytesSent = player.GetBytesSent();
        exchange.statusLine = player.GetFirstLine();
    };
    try {
        const Ending ending = player.Play(script);
        player.End(ending);
        note();
        return ending;
    } catch (...) {
        note();
        throw;
    }
}

Script ScriptedServer::State::Answer(Connection& connection, Exchange& exchange) {
    try {
        connection.reader->Read(exchange.request);
    } catch (const BadRequest& bad) {
        exchange.problem = bad.what();
        return ReplyInWords(bad.GetStatus(), bad.what());
    }
    exchange.request.isLast |= IsLast(++connection.requestCount);
    Record(exchange.request);
    try {
        return handler(exchange.request);
    } catch (const std::exception& exception) {
        exchange.problem = exception.what();
        return ReplyInWords(500, exception.what());
    }
}

/// Whether a limit is reached. With all threads at work, one that waits for a further request would
/// keep other clients out.
bool ScriptedServer::State::IsLast(int requestsOfConnection) const {
    const std::lock_guard lock(mutex);
    return requestsOfConnection >= options.maxRequests || idleThreads == 0;
}

void ScriptedServer::State::Record(const Request& request) {
    const std::lock_guard lock(mutex);
    ++requestCount;
    if (requests.size() < options.maxRecorded) {
        requests.push_back(request);
    }
    requestCame.notify_all();
}

ScriptedServer::ScriptedServer(Options options, Handler handler)
    : m_state(std::make_unique<State>(std::move(options), std::move(handler))) {
    m_state->Start();
}

ScriptedServer::~ScriptedServer() {
    m_state->Stop();
}

int ScriptedServer::GetPort() const noexcept {
    return m_state->listener.GetPort();
}

std::vector<std::string> ScriptedServer::GetAddresses() const {
    return m_state->listener.GetAddresses();
}

std::vector<Request> ScriptedServer::GetRequests() const {
    const std::lock_guard lock(m_state->mutex);
    return m_state->requests;
}

int ScriptedServer::GetConnectionCount() const {
    const std::lock_guard lock(m_state->mutex);
    return m_state->connectionCount;
}

bool ScriptedServer::WaitForRequests(std::size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock lock(m_state->mutex);
    return m_state->requestCame.wait_for(lock, timeout,
                                         [&] { return m_state->requestCount >= count; });
}

}  // namespace Server
