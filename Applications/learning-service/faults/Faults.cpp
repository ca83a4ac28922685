#include "faults/Faults.h"

#include "Kernel/FileSystem.h"
#include "Kernel/Json.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace Service {

using Server::Abort;
using Server::Close;
using Server::Content;
using Server::Reset;
using Server::Script;
using Server::Send;
using Server::WaitForClient;

/// What faults do: either answer a connection at once, or change the answer to a request.
struct FaultKind {
    enum class Value { None, Number, Difference, Text, AnyText };
    struct Given {
        std::string_view text;
        std::int64_t number;
    };

    const char* name;
    Value value;
    const char* valueName;
    const char* help;
    void (*apply)(Answer& answer, const Given& value) = nullptr;
    Script (*greet)() = nullptr;
};

namespace {

using Given = FaultKind::Given;
using Value = FaultKind::Value;

constexpr std::size_t ChunkSize = std::size_t{64} << 10;

std::size_t ToSize(std::int64_t number) {
    return static_cast<std::size_t>(number);
}

void RemoveHeader(Answer& answer, std::string_view name) {
    std::erase_if(answer.headers, [name](const auto& field) {
        return Server::EqualsIgnoringCase(field.first, name);
    });
}

void SetHeader(Answer& answer, const char* name, std::string value) {
    RemoveHeader(answer, name);
    answer.headers.emplace_back(name, std::move(value));
}

void ReplaceBody(Answer& answer, std::string text) {
    SetHeader(answer, "Content-Length", std::to_string(text.size()));
    if (answer.hasBody) {
        answer.body = {std::move(text)};
    }
}

void Replace(Answer& answer, int status, std::string text) {
    answer.statusLine = Server::FormatStatusLine(status);
    SetHeader(answer, "Content-Type", "text/plain");
    ReplaceBody(answer, std::move(text));
}

/// As operations on pictures refuse: with success on the outside.
void ReplaceByError(Answer& answer, std::string_view code) {
    const Kernel::Json::Value error{{"error", Kernel::Json::String(code)}};
    answer.statusLine = Server::FormatStatusLine(200);
    SetHeader(answer, "Content-Type", "application/json");
    ReplaceBody(answer, Kernel::Json::ToString(error).c_str());
}

void Redirect(Answer& answer, std::string_view target) {
    Replace(answer, 302, "it is elsewhere\n");
    SetHeader(answer, "Location", std::string(target));
}

void Corrupt(Answer& answer, std::uint64_t offset) {
    if (!answer.hasBody) {
        return;
    }
    const Content whole = answer.body.front();
    std::array<char, 1> byte{};
    if (whole.Read(offset, byte) == 1) {
        byte[0] = static_cast<char>(~byte[0]);
        answer.body = {whole.Slice(0, offset), std::string(byte.data(), 1),
                       whole.Slice(offset + 1)};
    }
}

void LieAboutLength(Answer& answer, std::int64_t difference) {
    if (const std::string* const length = Server::FindHeader(answer.headers, "Content-Length")) {
        const std::int64_t lie = std::stoll(*length) + difference;
        SetHeader(answer, "Content-Length", std::to_string(std::max<std::int64_t>(lie, 0)));
    }
}

/// Puts the body into chunks; without `end`, which follows the first, there are all of them.
void Chunk(Answer& answer, const char* end) {
    RemoveHeader(answer, "Content-Length");
    SetHeader(answer, "Transfer-Encoding", "chunked");
    if (!answer.hasBody) {
        return;
    }
    std::vector<Content> chunks;
    const auto append = [&chunks](const Content& content) {
        for (const Server::Step& step : Server::FormatChunk(content)) {
            chunks.push_back(std::get<Send>(step).content);
        }
    };
    for (const Content& piece : answer.body) {
        for (std::uint64_t offset = 0; offset < piece.GetSize(); offset += ChunkSize) {
            append(piece.Slice(offset, ChunkSize));
            if (end != nullptr) {
                chunks.emplace_back(end);
                answer.body = std::move(chunks);
                return;
            }
        }
    }
    append({});
    answer.body = std::move(chunks);
}

void AddHugeHeaders(Answer& answer) {
    const std::string filling(1000, 'x');
    for (int i = 0; i < 1000; ++i) {
        answer.headers.emplace_back("X-Filling-" + std::to_string(i), filling);
    }
}

void Stop(Answer& answer, std::int64_t count, Script ending) {
    answer.limit = static_cast<std::uint64_t>(count);
    answer.ending = std::move(ending);
}

// In the order in which they are applied. Later ones see what earlier ones made: a truncated body
// in chunks is cut after so many bytes of chunks.
const FaultKind Kinds[] = {
    {"silent", Value::None, "", "accepts, and never says a word, not even TLS", nullptr,
     [] { return Script{WaitForClient}; }},
    {"hang-up", Value::None, "", "accepts, and closes at once", nullptr,
     [] { return Script{Close{}}; }},
    {"noise", Value::None, "", "accepts, and sends noise, which is neither HTTP nor TLS", nullptr,
     [] { return Script{Send{std::string(2000, '\xA5')}}; }},
    {"status", Value::Number, "N", "answers with status N instead",
     [](Answer& answer, const Given& value) {
         const std::int64_t status = std::clamp<std::int64_t>(value.number, 100, 999);
         Replace(answer, static_cast<int>(status), "this is a fault\n");
     }},
    {"error", Value::Text, "CODE", "answers 200 and {\"error\":\"CODE\"} instead",
     [](Answer& answer, const Given& value) { ReplaceByError(answer, value.text); }},
    {"body", Value::AnyText, "TEXT", "sends TEXT as the body, which may be empty",
     [](Answer& answer, const Given& value) { ReplaceBody(answer, std::string(value.text)); }},
    {"redirect", Value::Text, "URL", "sends the client to URL, unless it is at that path",
     [](Answer& answer, const Given& value) {
         if (!value.text.ends_with(answer.target)) {
             Redirect(answer, value.text);
         }
     }},
    {"redirect-loop", Value::None, "", "sends the client back to where it is",
     [](Answer& answer, const Given&) { Redirect(answer, answer.target); }},
    {"corrupt", Value::Number, "OFFSET", "flips the bits of one byte of the body",
     [](Answer& answer, const Given& value) { Corrupt(answer, ToSize(value.number)); }},
    {"no-length", Value::None, "", "does not say how long the body is",
     [](Answer& answer, const Given&) { RemoveHeader(answer, "Content-Length"); }},
    {"lying-length", Value::Difference, "+N or -N", "says that the body is longer or shorter",
     [](Answer& answer, const Given& value) { LieAboutLength(answer, value.number); }},
    {"chunked", Value::None, "", "sends the body in chunks, which is no fault",
     [](Answer& answer, const Given&) { Chunk(answer, nullptr); }},
    {"broken-chunk", Value::None, "", "sends one chunk, then one whose size is not a number",
     [](Answer& answer, const Given&) { Chunk(answer, "not a size\r\n"); }},
    {"garbage-status", Value::None, "", "starts with a line that is not HTTP",
     [](Answer& answer, const Given&) { answer.statusLine = "\x01\x02 this is not HTTP"; }},
    {"huge-headers", Value::None, "", "adds a megabyte of headers",
     [](Answer& answer, const Given&) { AddHugeHeaders(answer); }},
    {"slow-start", Value::Number, "MS", "says nothing for MS milliseconds first",
     [](Answer& answer, const Given& value) {
         answer.delay = std::chrono::milliseconds(value.number);
     }},
    {"drip", Value::Number, "N", "sends N bytes of body per 100 ms",
     [](Answer& answer, const Given& value) {
         answer.pace = ToSize(std::max<std::int64_t>(value.number, 1));
     }},
    {"truncate", Value::Number, "N", "closes after N bytes of body",
     [](Answer& answer, const Given& value) { Stop(answer, value.number, {Close{}}); }},
    {"abort", Value::Number, "N", "ends after N bytes of body, without a farewell in TLS",
     [](Answer& answer, const Given& value) { Stop(answer, value.number, {Abort{}}); }},
    {"reset", Value::Number, "N", "resets the connection after N bytes of body",
     [](Answer& answer, const Given& value) { Stop(answer, value.number, {Reset{}}); }},
    {"stall", Value::Number, "N", "stops after N bytes of body, and does not close",
     [](Answer& answer, const Given& value) { Stop(answer, value.number, {WaitForClient}); }},
};

std::string GetNotation(const FaultKind& kind) {
    return kind.value == Value::None ? kind.name : std::string(kind.name) + "=" + kind.valueName;
}

/// The number that `text` is; throws std::runtime_error if `kind` can do nothing with it.
std::int64_t ParseValue(const FaultKind& kind, std::string_view text) {
    constexpr std::int64_t Max = 1'000'000'000'000;
    const bool hasSign = text.starts_with('+') || text.starts_with('-');
    const std::string_view digits = text.substr(hasSign ? 1 : 0);
    std::int64_t number = 0;
    const char* const last = digits.data() + digits.size();
    const auto [end, error] = std::from_chars(digits.data(), last, number);
    const bool isNumber = error == std::errc() && end == last && number >= 0 && number <= Max;
    const bool isFit[] = {text.empty(), isNumber && !hasSign, isNumber && hasSign, !text.empty(),
                          true};
    if (!isFit[static_cast<int>(kind.value)]) {
        throw std::runtime_error("write this fault as " + GetNotation(kind));
    }
    return text.starts_with('-') ? -number : number;
}

}  // namespace

void Faults::Add(std::string_view text) {
    std::string_view path;
    if (text.starts_with('/')) {
        path = text.substr(0, text.find(':'));
        text.remove_prefix(std::min(path.size() + 1, text.size()));
    }
    const std::string_view name = text.substr(0, text.find('='));
    const bool hasValue = name.size() < text.size();
    const std::string_view value = hasValue ? text.substr(name.size() + 1) : std::string_view();
    const auto* const kind = std::ranges::find(Kinds, name, &FaultKind::name);
    if (kind == std::end(Kinds)) {
        throw std::runtime_error("there is no fault '" + std::string(name) + "'");
    }
    if (!path.empty() && kind->greet != nullptr) {
        throw std::runtime_error("'" + std::string(name) + "' comes before a request has a path");
    }
    const std::int64_t number = ParseValue(*kind, value);
    std::erase_if(m_faults, [kind, path](const Fault& fault) {
        return fault.kind == kind && fault.path == path;
    });
    m_faults.push_back({kind, std::string(path), std::string(value), number});
    std::ranges::sort(m_faults, {}, [](const Fault& fault) {  // a path's own come last, and count
        return std::pair(fault.kind, std::string_view(fault.path));
    });
}

void Faults::AddFile(const std::string& path) {
    constexpr std::size_t MaxSize = std::size_t{64} << 10;
    Kernel::FileSystem::RefuseOtherThanFile(path);
    std::string text(MaxSize, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    std::istringstream lines(text);
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        const std::size_t end = line.find_last_not_of(" \t\r");
        if (end == std::string::npos || line.front() == '#') {
            continue;
        }
        try {
            Add(std::string_view(line).substr(0, end + 1));
        } catch (const std::runtime_error& wrong) {
            throw std::runtime_error(path + ", line " + std::to_string(number) + ": " +
                                     wrong.what());
        }
    }
}

std::optional<Script> Faults::GetGreeting() const {
    for (const Fault& fault : m_faults) {
        if (fault.kind->greet != nullptr) {
            return fault.kind->greet();
        }
    }
    return {};
}

void Faults::Apply(Answer& answer) const {
    const std::string_view target = answer.target;
    const std::string path(target.substr(0, target.find('?')));  // faults may change the target
    const auto isMeant = [&path](const Fault& fault) {
        return fault.path.ends_with('*')
                   ? path.starts_with(std::string_view(fault.path).substr(0, fault.path.size() - 1))
                   : fault.path.empty() || fault.path == path;
    };
    if (std::ranges::any_of(m_faults, isMeant)) {
        // What is wrong with a body would run into the next answer.
        SetHeader(answer, "Connection", "close");
        answer.ending = {Close{}};
    }
    for (const Fault& fault : m_faults) {
        if (fault.kind->apply != nullptr && isMeant(fault)) {
            fault.kind->apply(answer, {fault.text, fault.number});
        }
    }
}

std::string GetFaultHelp() {
    constexpr std::size_t Column = 24;
    std::string help;
    for (const FaultKind& kind : Kinds) {
        std::string line = "  " + GetNotation(kind);
        line.resize(std::max(Column, line.size() + 1), ' ');
        help += line + kind.help + "\n";
    }
    return help;
}

}  // namespace Service
