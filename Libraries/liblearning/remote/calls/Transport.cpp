#include "remote/calls/Transport.h"

#include "Kernel/Json.h"
#include "Network/Http.h"

#include "remote/addresses/ServiceAddresses.h"
#include "remote/control/ControlInForce.h"

namespace Learning {

namespace {

constexpr int Patience = 120;     // seconds: services think
constexpr int StallTimeout = 20;  // seconds
constexpr std::uint64_t MaximumReplySize = std::uint64_t{16} << 20;

/// Counts bytes, and keeps none. Throws Kernel::Aborted once the operation is to end.
class CountingOutStream final : public Kernel::OutStream {
public:
    void Write(std::span<const std::byte> bytes) override {
        Kernel::ThrowIfAborted(ControlInForce::GetFlag());
        m_count += bytes.size();
    }
    std::uint64_t GetCount() const noexcept { return m_count; }

private:
    std::uint64_t m_count = 0;
};

std::uint64_t Measure(const Kernel::Json::Value& value) {
    const auto counter = Kernel::MakeCounted<CountingOutStream>();
    Kernel::Json::Write(*counter, value);
    return counter->GetCount();
}

}  // namespace

ServiceReply PostToService(const char* name, const Kernel::Json::Value& body) {
    ControlInForce::Tell({RemotePhase::Kind::Submitting, {}, 0, 0});
    ServiceReply reply{0, Kernel::MakeCounted<Kernel::MemoryInOutStream>()};
    Network::Http::Request request;
    request.address = Kernel::String(ServiceBaseUrl) + name;
    request.method = Network::Http::Method::Post;
    request.headers = {{"Content-Type", "application/json"}};
    // Written while it is sent, as it may hold pictures: its text is never in memory as a whole.
    request.writeBody = [&body](const auto& stream) { Kernel::Json::Write(*stream, body); };
    request.writtenSize = Measure(body);
    request.sink = Kernel::MakeCounted<Network::StreamDataSink>(reply.body, MaximumReplySize);
    request.connectTimeout = Patience;
    request.replyTimeout = Patience;
    request.timeout = StallTimeout;
    reply.status = Network::Http::DoRequest(request, true, ControlInForce::GetFlag(), {}).status;
    return reply;
}

}  // namespace Learning
