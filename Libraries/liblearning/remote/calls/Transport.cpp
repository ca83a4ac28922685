#include "remote/calls/Transport.h"

#include "Kernel/Json.h"
#include "Network/Http.h"

#include "remote/addresses/ServiceAddresses.h"
#include "remote/control/ControlInForce.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace Learning {

namespace {

constexpr int Patience = 120;     // seconds: services think
constexpr int StallTimeout = 20;  // seconds
constexpr std::uint64_t MaximumReplySize = std::uint64_t{16} << 20;

/// Counts the bytes of a text, and keeps them while they are few. Throws Kernel::Aborted once the
/// operation is to end.
class TextStream final : public Kernel::OutStream {
public:
    void Write(std::span<const std::byte> bytes) override {
        Kernel::ThrowIfAborted(ControlInForce::GetFlag());
        m_count += bytes.size();
        if (m_count <= ShortSize) {
            m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
        } else {
            m_bytes = {};
        }
    }

    std::uint64_t GetCount() const noexcept { return m_count; }
    bool IsShort() const noexcept { return m_count <= ShortSize; }
    /// The text, if it is short.
    std::vector<std::byte> Take() noexcept { return std::move(m_bytes); }

private:
    static constexpr std::uint64_t ShortSize = std::uint64_t{16} << 10;

    std::vector<std::byte> m_bytes;
    std::uint64_t m_count = 0;
};

/// Lets the request send the text of `body`, and returns its size. What may hold pictures is
/// written while it is sent, so that its text is never in memory as a whole.
std::uint64_t SetBody(Network::Http::Request& request, const Kernel::Json::Value& body) {
    const auto text = Kernel::MakeCounted<TextStream>();
    Kernel::Json::Write(*text, body);
    if (text->IsShort()) {
        request.body = Kernel::MakeCounted<Network::BinaryDataSource>(text->Take());
    } else {
        request.writeBody = [&body](const auto& stream) { Kernel::Json::Write(*stream, body); };
        request.writtenSize = text->GetCount();
    }
    return text->GetCount();
}

/// What the controls see of a request.
RemoteRequest Describe(const Network::Http::Request& request) {
    RemoteRequest seen;
    seen.method = request.method == Network::Http::Method::Post  ? "POST"
                  : request.method == Network::Http::Method::Put ? "PUT"
                                                                 : "GET";
    seen.address = request.address;
    seen.headers = request.headers;
    return seen;
}

/// The request without its body.
Network::Http::Request MakeUpload(const Kernel::String& address) {
    Network::Http::Request request;
    request.address = address;
    request.method = Network::Http::Method::Put;
    request.headers = {{"Content-Type", "application/octet-stream"}};
    return request;
}

RemoteRequest DescribeUpload(const Kernel::String& address, std::span<const std::byte> file) {
    RemoteRequest seen = Describe(MakeUpload(address));
    seen.file = file;
    seen.size = file.size();
    return seen;
}

/// Makes the request, with the patience that all have; `limit` is that of the answer.
ServiceReply Send(Network::Http::Request request, std::uint64_t limit) {
    ServiceReply reply{0, Kernel::MakeCounted<Kernel::MemoryInOutStream>()};
    request.sink = Kernel::MakeCounted<Network::StreamDataSink>(reply.body, limit);
    request.connectTimeout = Patience;
    request.replyTimeout = Patience;
    request.timeout = StallTimeout;
    reply.status = Network::Http::DoRequest(request, true, ControlInForce::GetFlag(), {}).status;
    return reply;
}

/// `next` may be null.
ServiceReply Post(const char* name, const Kernel::Json::Value& body, const RemoteRequest* next) {
    Network::Http::Request request;
    request.address = Kernel::String(ServiceBaseUrl) + name;
    request.method = Network::Http::Method::Post;
    request.headers = {{"Content-Type", "application/json"}};
    RemoteRequest seen = Describe(request);
    seen.json = &body;
    seen.size = SetBody(request, body);
    seen.next = next;
    ControlInForce::Ask(seen);
    return Send(std::move(request), MaximumReplySize);
}

}  // namespace

ServiceReply PostToService(const char* name, const Kernel::Json::Value& body) {
    return Post(name, body, nullptr);
}

ServiceReply SubmitToService(const char* name, const Kernel::Json::Value& body,
                             std::span<const std::byte> upload) {
    ControlInForce::Tell({RemotePhase::Kind::Submitting, name, {}, 0, 0});
    const RemoteRequest next = DescribeUpload({}, upload);
    return Post(name, body, upload.empty() ? nullptr : &next);
}

ServiceReply DownloadFile(const Kernel::String& address, std::uint64_t maximumSize) {
    Network::Http::Request request;
    request.address = address;
    request.headers = {{"Content-Type", "application/jpeg"}};  // whatever it is
    ControlInForce::Ask(Describe(request));
    return Send(std::move(request), maximumSize);
}

int UploadFile(const Kernel::String& address, std::vector<std::byte> bytes) {
    Network::Http::Request request = MakeUpload(address);
    ControlInForce::Ask(DescribeUpload(address, bytes));
    request.body = Kernel::MakeCounted<Network::BinaryDataSource>(std::move(bytes));
    return Send(std::move(request), MaximumReplySize).status;
}

}  // namespace Learning
