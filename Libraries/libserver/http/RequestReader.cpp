#include "http/RequestReader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace Server {

namespace {

constexpr std::string_view LineEnd = "\r\n";
constexpr std::size_t MaxLineSize = 1024;  // of a chunk's size with its extensions

bool IsControl(char c) {
    const auto code = static_cast<unsigned char>(c);
    return (code < 0x20 && c != '\t') || code == 0x7F;
}

/// Whether `text` is a token of RFC 9110, 5.6.2.
bool IsToken(std::string_view text) {
    constexpr std::string_view Allowed =
        "!#$%&'*+-.^_`|~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    return !text.empty() && text.find_first_not_of(Allowed) == std::string_view::npos;
}

std::string_view Trim(std::string_view text) {
    constexpr std::string_view Blanks = " \t";
    const std::size_t start = text.find_first_not_of(Blanks);
    return start == std::string_view::npos
               ? std::string_view()
               : text.substr(start, text.find_last_not_of(Blanks) + 1 - start);
}

/// Cuts `text` up to `end` off its front, and `end` too; all of it if there is none.
std::string_view TakeUntil(std::string_view& text, std::string_view end) {
    const std::size_t position = text.find(end);
    const std::string_view front = text.substr(0, position);
    text.remove_prefix(std::min(text.size(), front.size() + end.size()));
    return front;
}

std::string_view TakeLine(std::string_view& text) {
    const std::string_view line = TakeUntil(text, LineEnd);
    if (std::ranges::any_of(line, IsControl)) {
        throw BadRequest(400, "there is a control character in the head");
    }
    return line;
}

std::size_t ParseSize(std::string_view digits, int base) {
    std::size_t size = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), size, base);
    if (error == std::errc::result_out_of_range) {
        throw BadRequest(413, "the body is too long");
    }
    if (error != std::errc() || end != digits.data() + digits.size()) {
        throw BadRequest(400, "a size is not a number");
    }
    return size;
}

void ParseRequestLine(std::string_view line, Request& request) {
    const std::string_view method = TakeUntil(line, " ");
    const std::string_view target = TakeUntil(line, " ");
    if (!IsToken(method) || target.empty() || (line != "HTTP/1.1" && line != "HTTP/1.0")) {
        throw BadRequest(400, "the first line is not a request of HTTP/1.1");
    }
    request.method = method;
    request.target = target;
    request.isLast = line == "HTTP/1.0";
}

/// Whether the fields `name` list `word`.
bool HasWord(const Headers& headers, std::string_view name, std::string_view word) {
    return std::ranges::any_of(headers, [&](const auto& field) {
        std::string_view list;
        if (EqualsIgnoringCase(field.first, name)) {
            list = field.second;
        }
        while (!list.empty()) {
            if (EqualsIgnoringCase(Trim(TakeUntil(list, ",")), word)) {
                return true;
            }
        }
        return false;
    });
}

void ParseHead(std::string_view head, Request& request) {
    ParseRequestLine(TakeLine(head), request);
    while (!head.empty()) {
        std::string_view value = TakeLine(head);
        const std::string_view name = TakeUntil(value, ":");
        if (!IsToken(name)) {
            throw BadRequest(400, "a header field is not well formed");
        }
        request.headers.emplace_back(name, Trim(value));
    }
    request.isLast |= HasWord(request.headers, "Connection", "close");
}

}  // namespace

void RequestReader::Read(Request& request) {
    if (m_buffer.empty()) {
        ReceiveMore();
    }
    try {
        ReadStarted(request);
    } catch (const TooSlow&) {
        throw BadRequest(408, "the request takes too long");
    }
}

void RequestReader::ReadStarted(Request& request) {
    constexpr char HandshakeOfTls = 0x16;  // its client would wait for an answer
    if (m_buffer.front() == HandshakeOfTls) {
        throw BadRequest(400, "this port speaks http, not https");
    }
    if (!IsToken(m_buffer.substr(0, 1))) {
        throw BadRequest(400, "this is no request of HTTP");
    }
    const std::string head = ReadUntil("\r\n\r\n", m_limits.maxHeadSize);
    Request parsed = request;
    ParseHead(head, parsed);
    parsed.body = ReadBody(parsed);
    request = std::move(parsed);
}

bool RequestReader::AwaitNext() noexcept {
    try {
        if (m_buffer.empty()) {
            ReceiveMore();
        }
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

void RequestReader::ReceiveMore() {
    std::array<char, 16384> received;
    const std::size_t count = m_transport.Receive(received);
    if (count == 0) {
        throw ConnectionLost(m_buffer.empty() ? "the client left without a request"
                                              : "the client left in the middle of its request");
    }
    m_buffer.append(received.data(), count);
}

/// What comes before `end`, which is dropped.
std::string RequestReader::ReadUntil(std::string_view end, std::size_t maxSize) {
    std::size_t searched = 0;
    for (;;) {
        const std::size_t position = m_buffer.find(end, searched);
        if (std::min(position, m_buffer.size()) > maxSize) {
            throw BadRequest(431, "the head is too long");
        }
        if (position != std::string::npos) {
            std::string text = m_buffer.substr(0, position);
            m_buffer.erase(0, position + end.size());
            return text;
        }
        searched = m_buffer.size() - std::min(m_buffer.size(), end.size() - 1);
        ReceiveMore();
    }
}

std::string RequestReader::ReadCount(std::size_t count) {
    while (m_buffer.size() < count) {
        ReceiveMore();
    }
    std::string rest = m_buffer.substr(count);
    m_buffer.resize(count);
    return std::exchange(m_buffer, std::move(rest));  // a large body is not copied
}

std::string RequestReader::ReadBody(const Request& head) {
    const Headers& headers = head.headers;
    const auto count = [&headers](std::string_view name) {
        return std::ranges::count_if(
            headers, [name](const auto& field) { return EqualsIgnoringCase(field.first, name); });
    };
    const std::string* const length = FindHeader(headers, "Content-Length");
    const std::string* const coding = FindHeader(headers, "Transfer-Encoding");
    // More than one answer to where the body ends is how requests are smuggled.
    if (count("Content-Length") + count("Transfer-Encoding") > 1) {
        throw BadRequest(400, "the length of the body is not clear");
    }
    if (coding != nullptr && !EqualsIgnoringCase(*coding, "chunked")) {
        throw BadRequest(501, "the only transfer coding is 'chunked'");
    }
    const std::size_t size = length != nullptr ? ParseSize(*length, 10) : 0;
    const std::size_t maxSize = m_limits.getMaxBodySize(head);
    if (size > maxSize) {
        throw BadRequest(413, "the body is too long");
    }
    m_limits.makeRoom(coding != nullptr ? maxSize : size);
    const std::string* const expected = FindHeader(headers, "Expect");
    if (expected != nullptr && EqualsIgnoringCase(*expected, "100-continue")) {
        m_transport.Send("HTTP/1.1 100 Continue\r\n\r\n");
    }
    return coding != nullptr ? ReadChunks(maxSize) : ReadCount(size);
}

std::string RequestReader::ReadChunks(std::size_t maxSize) {
    std::string body;
    for (;;) {
        const std::string line = ReadUntil(LineEnd, MaxLineSize);
        const std::size_t size = ParseSize(Trim(line.substr(0, line.find(';'))), 16);
        if (size == 0) {
            break;
        }
        if (size > maxSize - body.size()) {
            throw BadRequest(413, "the body is too long");
        }
        body += ReadCount(size);
        if (ReadCount(LineEnd.size()) != LineEnd) {
            throw BadRequest(400, "a chunk is longer than it says");
        }
    }
    std::size_t trailers = 0;
    for (std::string line; !(line = ReadUntil(LineEnd, m_limits.maxHeadSize)).empty();) {
        trailers += line.size() + LineEnd.size();
        if (trailers > m_limits.maxHeadSize) {
            throw BadRequest(431, "the trailers are too long");
        }
    }
    return body;
}

}  // namespace Server
