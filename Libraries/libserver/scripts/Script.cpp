#include "Server/Script.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <iterator>

namespace Server {

namespace {

struct StatusName {
    int status;
    const char* name;
};

constexpr StatusName StatusNames[] = {
    {100, "Continue"},
    {200, "OK"},
    {204, "No Content"},
    {206, "Partial Content"},
    {301, "Moved Permanently"},
    {302, "Found"},
    {304, "Not Modified"},
    {307, "Temporary Redirect"},
    {308, "Permanent Redirect"},
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {405, "Method Not Allowed"},
    {408, "Request Timeout"},
    {413, "Content Too Large"},
    {416, "Range Not Satisfiable"},
    {429, "Too Many Requests"},
    {431, "Request Header Fields Too Large"},
    {500, "Internal Server Error"},
    {501, "Not Implemented"},
    {502, "Bad Gateway"},
    {503, "Service Unavailable"},
    {504, "Gateway Timeout"},
};

std::string ToHex(std::uint64_t number) {
    std::array<char, 16> digits;
    return {digits.data(),
            std::to_chars(digits.data(), digits.data() + digits.size(), number, 16).ptr};
}

void AddLength(Headers& headers, const Content& body) {
    if (!FindHeader(headers, "Content-Length") && !FindHeader(headers, "Transfer-Encoding")) {
        headers.emplace_back("Content-Length", std::to_string(body.GetSize()));
    }
}

}  // namespace

std::string FormatStatusLine(int status) {
    const auto known = std::ranges::find(StatusNames, status, &StatusName::status);
    const std::string name = known == std::end(StatusNames) ? "Unknown" : known->name;
    return "HTTP/1.1 " + std::to_string(status) + " " + name;
}

std::string FormatHead(int status, const Headers& headers) {
    return FormatHead(FormatStatusLine(status), headers);
}

std::string FormatHead(std::string_view statusLine, const Headers& headers) {
    std::string head(statusLine);
    head += "\r\n";
    for (const auto& [name, value] : headers) {
        head.append(name).append(": ").append(value).append("\r\n");
    }
    return head + "\r\n";
}

Script Reply(int status, Headers headers, const Content& body) {
    AddLength(headers, body);
    headers.emplace_back("Connection", "close");
    return {Send{FormatHead(status, headers)}, Send{body}, Close{}};
}

Script ReplyAndKeep(int status, Headers headers, const Content& body) {
    AddLength(headers, body);
    return {Send{FormatHead(status, headers)}, Send{body}, Keep{}};
}

Script ReplyChunked(int status, Headers headers, const Content& body, std::size_t chunkSize) {
    headers.emplace_back("Transfer-Encoding", "chunked");
    headers.emplace_back("Connection", "close");
    Script script{Send{FormatHead(status, headers)}};
    const auto append = [&script](const Content& content) {
        const Script chunk = FormatChunk(content);
        script.insert(script.end(), chunk.begin(), chunk.end());
    };
    for (std::uint64_t offset = 0; offset < body.GetSize(); offset += chunkSize) {
        append(body.Slice(offset, chunkSize));
    }
    append({});
    return script;
}

Script FormatChunk(const Content& content) {
    return {Send{ToHex(content.GetSize()) + "\r\n"}, Send{content}, Send{"\r\n"}};
}

}  // namespace Server
