// The body of a request, read from a source or written while it is sent.

#include "Network/HttpException.h"

#include "transfer/Transfer.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <utility>
#include <vector>

namespace Network {

namespace {

constexpr const char* ShortBody = "the request's body is shorter than it said";
constexpr std::uint64_t MaximumBody = std::numeric_limits<std::uint64_t>::max();
constexpr std::size_t PieceSize = 65'536;  // of a body
constexpr std::uint64_t MaximumShortBody = 16'384;

/// Thrown out of the stream of a body when the exchange has ended.
struct BodyUnwanted : Http::Exception {
    BodyUnwanted() : Http::Exception("the server wants no more of the request's body") {}
};

/// Collects what is written into pieces that are worth a packet.
class BodyStream : public Kernel::OutStream {
public:
    using Send = std::function<void(std::span<const std::byte>)>;

    explicit BodyStream(Send send) : m_send(std::move(send)) { m_piece.reserve(PieceSize); }

    void Write(std::span<const std::byte> bytes) override {
        while (!bytes.empty()) {
            const auto part = bytes.first(std::min(bytes.size(), PieceSize - m_piece.size()));
            m_piece.insert(m_piece.end(), part.begin(), part.end());
            bytes = bytes.subspan(part.size());
            if (m_piece.size() == PieceSize) {
                Flush();
            }
        }
    }
    void Flush() override {
        if (!m_send) {
            throw Http::Exception("the body of a request has been written already",
                                  Http::FailureReason::Local);
        }
        m_send(m_piece);
        m_piece.clear();
    }
    /// Ends the body: nothing of the transfer is used any more, whoever keeps this stream.
    void End() { m_send = {}; }

private:
    Send m_send;
    std::vector<std::byte> m_piece;
};

}  // namespace

/// Reads a short body beforehand: libcurl sends it with the head then, in one packet and one record
/// of TLS, and a body that is read while it is sent behind the head.
void Transfer::GatherBody() {
    if (m_request.method != Http::Method::Post || !m_request.body || m_request.writeBody ||
        m_bodySize == 0 || m_bodySize > MaximumShortBody) {
        return;
    }
    m_shortBody.resize(m_bodySize);
    for (std::span rest(m_shortBody); !rest.empty();) {
        rest = rest.subspan(GiveBody(rest));
    }
    Set(CURLOPT_POSTFIELDS, m_shortBody.data());
}

void Transfer::WriteBody() {
    const auto stream = Kernel::MakeCounted<BodyStream>(
        [this](std::span<const std::byte> piece) { SendPiece(piece); });
    const struct Ending {
        BodyStream& stream;
        ~Ending() { stream.End(); }
    } ending{*stream};
    try {
        m_request.writeBody(stream);
        stream->Flush();
    } catch (const BodyUnwanted&) {
        return;  // the response, if there is one, says why
    }
    m_isBodyWritten = true;
    SendPiece({});
}

/// Takes the exchange on until libcurl has taken all of a piece.
void Transfer::SendPiece(std::span<const std::byte> piece) {
    m_piece = piece;
    if (std::exchange(m_isPaused, false)) {
        curl_easy_pause(m_handle.get(), CURLPAUSE_CONT);
    }
    while (!m_piece.empty()) {
        if (!Step()) {
            m_piece = {};
            throw BodyUnwanted();
        }
    }
}

bool Transfer::IsBodyGiven() const noexcept {
    return m_request.writeBody ? m_isBodyWritten && m_piece.empty() : m_bodyPosition == m_bodySize;
}

std::size_t Transfer::GiveBody(std::span<std::byte> buffer) {
    CheckAbort();
    if (m_request.writeBody) {
        return GivePiece(buffer);
    }
    const std::uint64_t rest = m_bodySize - m_bodyPosition;
    if (rest == 0) {
        return 0;
    }
    // Not more than Content-Length: the server would parse the rest as another request.
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), rest));
    const std::size_t count = m_request.body->Read(m_bodyPosition, buffer.first(wanted));
    if (count == 0) {
        throw Http::Exception(ShortBody, Http::FailureReason::Local);
    }
    m_bodyPosition += count;
    return count;
}

/// Of a body that is being written.
std::size_t Transfer::GivePiece(std::span<std::byte> buffer) {
    if (m_piece.empty()) {
        m_isPaused = !m_isBodyWritten;
        if (m_isBodyWritten && m_bodyPosition < m_request.writtenSize.value_or(0)) {
            throw Http::Exception(ShortBody, Http::FailureReason::Local);
        }
        return m_isBodyWritten ? 0 : CURL_READFUNC_PAUSE;
    }
    const auto part = m_piece.first(std::min(buffer.size(), m_piece.size()));
    if (part.size() > m_request.writtenSize.value_or(MaximumBody) - m_bodyPosition) {
        throw Http::Exception("the request's body is longer than it said",
                              Http::FailureReason::Local);
    }
    std::ranges::copy(part, buffer.begin());
    m_piece = m_piece.subspan(part.size());
    m_bodyPosition += part.size();
    return part.size();
}

}  // namespace Network
