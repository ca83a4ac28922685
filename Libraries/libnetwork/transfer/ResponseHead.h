// The head of an HTTP response.

#pragma once

#include "Network/HttpRequest.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace Network {

/// The range of a body that a response contains (Content-Range, RFC 9110, 14.4).
struct ContentRange {
    std::uint64_t first = 0;
    std::uint64_t last = 0;             // inclusive
    std::optional<std::uint64_t> size;  // of the whole; std::nullopt if the server does not know
};

/// Collects the lines of a response's head. Those of interim responses (1xx) are replaced by those
/// of the final one; trailers, which come behind a chunked body, are dropped: whoever looks for a
/// header expects that it preceded the body.
class ResponseHead {
public:
    /// Takes a line with its end and returns whether it completes the head of a final response.
    /// Throws Http::Exception for too many headers, and for any transfer coding but "chunked",
    /// since what the others hide is bounded by nothing.
    bool Take(std::string_view line);

    int GetStatus() const noexcept { return m_status; }
    const Http::Fields& GetFields() const noexcept { return m_fields; }
    /// The value of the field `name`, which is in lower case; empty if there is none.
    Kernel::String Find(const char* name) const;
    /// Whether the head of the final response has begun, not only interim ones.
    bool IsFinal() const noexcept { return m_status >= FirstFinalStatus; }
    /// Whether the body comes in chunks, the last of which marks its end.
    bool IsChunked() const noexcept { return m_isChunked; }
    /// The location of a redirect (301, 302, 303, 307 or 308); empty for other responses.
    Kernel::String GetRedirect() const;
    /// std::nullopt without a well-formed Content-Range of one range in bytes.
    std::optional<ContentRange> GetRange() const;

private:
    static constexpr int FirstFinalStatus = 200;

    void TakeField(std::string_view line);

    Http::Fields m_fields;
    std::size_t m_bytes = 0;
    int m_status = 0;
    bool m_isChunked = false;
    bool m_isComplete = false;
};

}  // namespace Network
