#include "scripts/ScriptPlayer.h"

#include <algorithm>

namespace Server {

namespace {

constexpr std::size_t BufferSize = std::size_t{64} << 10;
constexpr std::size_t MaxFirstLine = 80;

}  // namespace

ScriptPlayer::ScriptPlayer(Socket& socket, Transport& transport)
    : m_socket(socket), m_transport(transport), m_buffer(BufferSize, '\0') {}

Ending ScriptPlayer::Play(const Script& script) {
    for (const Step& step : script) {
        const auto play = [this](const auto& what) { return PlayStep(what); };
        if (const MaybeEnding ending = std::visit(play, step)) {
            return *ending;
        }
    }
    return Ending::Close;
}

void ScriptPlayer::End(Ending ending) {
    switch (ending) {
        case Ending::Close:
            m_transport.SayEnd();
            m_socket.Close();
            break;
        case Ending::Abort:
            m_socket.Close();
            break;
        case Ending::Reset:
            m_socket.Reset();
            break;
        case Ending::Keep:
            break;
    }
}

std::string_view ScriptPlayer::GetFirstLine() const noexcept {
    return std::string_view(m_start).substr(0, m_start.find_first_of("\r\n"));
}

ScriptPlayer::MaybeEnding ScriptPlayer::PlayStep(const Send& step) {
    SendAll(step.content);
    return {};
}

ScriptPlayer::MaybeEnding ScriptPlayer::PlayStep(const Drip& step) {
    const std::size_t pieceSize = std::max<std::size_t>(step.pieceSize, 1);
    for (std::uint64_t offset = 0; offset < step.content.GetSize(); offset += pieceSize) {
        SendAll(step.content.Slice(offset, pieceSize));
        m_socket.Pause(step.pause);
    }
    return {};
}

ScriptPlayer::MaybeEnding ScriptPlayer::PlayStep(const Wait& step) {
    m_socket.Pause(step.duration);
    return {};
}

void ScriptPlayer::SendAll(const Content& content) {
    std::uint64_t offset = 0;
    while (const std::size_t count = content.Read(offset, m_buffer)) {
        const std::string_view bytes(m_buffer.data(), count);
        m_socket.Pause({});  // takes no time, but a fast client must not hold up the server's end
        m_transport.Send(bytes);
        offset += count;
        m_bytesSent += count;
        m_start += bytes.substr(0, MaxFirstLine - std::min(MaxFirstLine, m_start.size()));
    }
}

}  // namespace Server
