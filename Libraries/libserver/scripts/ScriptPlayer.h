// Plays a script on a connection.

#pragma once

#include "Server/Script.h"

#include "sockets/Socket.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Server {

/// How a script ends: the connection too, unless it is kept.
enum class Ending { Close, Abort, Reset, Keep };

/// Plays steps, and notes what it sent. Throws ConnectionLost, and what Content throws.
class ScriptPlayer {
public:
    /// Sends through `transport`, which lies over `socket` or is it.
    ScriptPlayer(Socket& socket, Transport& transport);

    /// Plays the steps up to the one that ends the script, and returns that one.
    Ending Play(const Script& script);
    /// Ends the connection, unless it is kept.
    void End(Ending ending);

    std::uint64_t GetBytesSent() const noexcept { return m_bytesSent; }
    /// The first line that was sent, or its start.
    std::string_view GetFirstLine() const noexcept;

private:
    using MaybeEnding = std::optional<Ending>;
    MaybeEnding PlayStep(const Send& step);
    MaybeEnding PlayStep(const Drip& step);
    MaybeEnding PlayStep(const Wait& step);
    static MaybeEnding PlayStep(const Close& /*step*/) { return Ending::Close; }
    static MaybeEnding PlayStep(const Abort& /*step*/) { return Ending::Abort; }
    static MaybeEnding PlayStep(const Reset& /*step*/) { return Ending::Reset; }
    static MaybeEnding PlayStep(const Keep& /*step*/) { return Ending::Keep; }
    void SendAll(const Content& content);

    Socket& m_socket;
    Transport& m_transport;
    std::uint64_t m_bytesSent = 0;
    std::string m_start;  // of what was sent
    std::string m_buffer;
};

}  // namespace Server
