// What requests need besides time of their own: memory when many run, or when a body is large, and
// the time until a request that is cancelled has ended. The server is a process of its own, so that
// its memory is not counted.

#include "Kernel/Base64OutStream.h"
#include "Network/Http.h"
#include "Network/Settings.h"
#include "Server/ScriptedServer.h"

#include "curl/Curl.h"
#include "support/linux/ProcessStatus.h"
#include "support/linux/ServerProcess.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace Network;
using namespace std::chrono_literals;
using Server::Script;
using Clock = std::chrono::steady_clock;

constexpr std::size_t ManyCount = 64;
constexpr std::size_t PictureSize = 15'000'000;  // bytes, of which base64 makes 20 MB
constexpr int CancelCount = 100;                 // for each phase

void Check(bool isDone, const char* what) {
    if (!isDone) {
        std::fprintf(stderr, "TransferBenchmark: %s\n", what);
        std::exit(1);
    }
}

/// A port to which connections are never completed: the queue of its only listener is full.
class FullPort {
public:
    FullPort() {
        m_address.sin_family = AF_INET;
        m_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const address = reinterpret_cast<sockaddr*>(&m_address);
        socklen_t size = sizeof m_address;
        m_sockets.push_back(socket(AF_INET, SOCK_STREAM, 0));
        Check(bind(m_sockets[0], address, size) == 0 && listen(m_sockets[0], 0) == 0, "no port");
        getsockname(m_sockets[0], address, &size);
        for (int i = 0; i < 4; ++i) {
            m_sockets.push_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
            connect(m_sockets.back(), address, size);
        }
    }
    FullPort(const FullPort&) = delete;
    FullPort& operator=(const FullPort&) = delete;
    ~FullPort() { std::ranges::for_each(m_sockets, close); }

    std::string GetAddress() const {
        return "http://127.0.0.1:" + std::to_string(ntohs(m_address.sin_port)) + "/";
    }

private:
    sockaddr_in m_address{};
    std::vector<int> m_sockets;
};

Http::Request MakePost(const std::string& address) {
    Http::Request request;
    request.address = address;
    request.method = Http::Method::Post;
    request.body = Kernel::MakeCounted<Utf8DataSource>("{}");
    return request;
}

/// Memory for each of many requests that wait for their answers.
void MeasureMany(const std::string& address) {
    Http::DoRequest(MakePost(address), {}, {}, {}, {}, {})->Cancel();  // what is loaded once
    std::this_thread::sleep_for(200ms);
    const std::int64_t idle = Support::GetMemoryStatus("VmRSS:");
    for (std::size_t i = 0; i < ManyCount; ++i) {
        Http::DoRequest(MakePost(address), {}, {}, {}, {}, {});
    }
    std::this_thread::sleep_for(3s);  // all have sent, and wait
    const std::int64_t busy = Support::GetMemoryStatus("VmRSS:");
    Http::CancelAllRequests();
    std::printf("%zu requests that wait: %lld kB each\n", ManyCount,
                static_cast<long long>((busy - idle) / 1000 / std::int64_t{ManyCount}));
}

/// The same for handles of libcurl that one thread drives.
void MeasureManyBare(const std::string& address) {
    const CurlDriver driver(curl_multi_init());
    std::vector<CurlHandle> handles;
    const auto drive = [&](Clock::duration time) {
        for (const auto end = Clock::now() + time; Clock::now() < end;) {
            int running = 0;
            curl_multi_perform(driver.get(), &running);
            curl_multi_poll(driver.get(), nullptr, 0, 10, nullptr);
        }
    };
    const auto add = [&] {
        CURL* const handle = handles.emplace_back(curl_easy_init()).get();
        curl_easy_setopt(handle, CURLOPT_URL, address.c_str());
        curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 0L);  // parses no authorities
        curl_easy_setopt(handle, CURLOPT_POSTFIELDS, "{}");
        curl_easy_setopt(handle, CURLOPT_PROXY, "");
        curl_multi_add_handle(driver.get(), handle);
    };
    add();
    drive(200ms);
    const std::int64_t idle = Support::GetMemoryStatus("VmRSS:");
    while (handles.size() <= ManyCount) {
        add();
    }
    drive(3s);
    std::printf("the same with libcurl alone, in one thread: %lld kB each\n",
                static_cast<long long>((Support::GetMemoryStatus("VmRSS:") - idle) / 1000 /
                                       std::int64_t{ManyCount}));
    for (const CurlHandle& handle : handles) {
        curl_multi_remove_handle(driver.get(), handle.get());
    }
}

/// The memory that a large body of JSON needs at its peak, besides the picture that it holds.
void MeasureBody(const std::string& address) {
    const std::vector<std::byte> picture(PictureSize, std::byte{'x'});
    Http::Request request = MakePost(address);
    const auto post = [&](std::span<const std::byte> bytes) {
        request.writeBody = [bytes](const Kernel::Counted<Kernel::OutStream>& stream) {
            constexpr std::string_view Start = R"({"image":")";
            constexpr std::string_view End = R"("})";
            stream->Write(std::as_bytes(std::span(Start)));
            Kernel::Base64OutStream text(stream);
            text.Write(bytes);
            text.FlushBase64();
            stream->Write(std::as_bytes(std::span(End)));
        };
        Http::DoRequest(request, true);
    };
    post({});                                       // what is loaded once
    std::ofstream("/proc/self/clear_refs") << "5";  // the peak starts anew, see proc(5)
    const std::int64_t idle = Support::GetMemoryStatus("VmRSS:");
    post(picture);
    std::printf("a body of 20 MB with a picture in base64: %lld kB at its peak\n",
                static_cast<long long>((Support::GetMemoryStatus("VmHWM:") - idle) / 1000));
}

/// Cancels requests at random moments of a phase, and shows how long each takes to end.
void MeasureCancelling(const char* phase, const Http::Request& request) {
    std::vector<double> times;
    for (int i = 0; i < CancelCount; ++i) {
        const auto running = Http::DoRequest(request, {}, {}, {}, {}, {});
        std::this_thread::sleep_for(40ms + 1ms * (i * 7 % 50));
        const auto start = Clock::now();
        running->Cancel();
        running->Wait();
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    }
    std::ranges::sort(times);
    std::printf("%-12s %6.1f %6.1f %6.1f\n", phase, times[times.size() / 2],
                times[times.size() * 99 / 100], times.back());
}

Server::ScriptedServer::Options Greet(const Script& script) {
    Server::ScriptedServer::Options options;
    options.greeting = [script](int) { return script; };
    return options;
}

Http::Request MakeLarge(const std::string& address) {
    Http::Request request = MakePost(address);
    request.body = Kernel::MakeCounted<Utf8DataSource>(Kernel::String(100'000'000, 'x'));
    return request;
}

}  // namespace

int main() {
    // All servers before the first thread, which no other process would have.
    const Server::CertificateAuthority authority;
    Server::ScriptedServer::Options encrypted;
    encrypted.identity = authority.Issue();
    const auto play = [](const Script& script) {
        return [script](const Server::Request&) { return script; };
    };
    const Script silence{Server::WaitForClient};
    const Support::ServerProcess waiting(encrypted, play(silence));
    const Support::ServerProcess silent(Greet(silence), play({}));
    const Support::ServerProcess answering({}, play(Server::Reply(200, {}, "{}")));
    const Support::ServerProcess dripping(
        encrypted, play({Server::Send{Server::FormatHead(200, {{"Content-Length", "1000000"}})},
                         Server::Drip{std::string(1'000'000, 'x'), 1, 1ms}}));
    const FullPort full;

    const std::string file = std::filesystem::temp_directory_path() / "orvantis-authority.pem";
    authority.WriteCertificate(file);
    SetCertificateAuthorities(file.c_str());
    SetProxy("");
    MeasureMany(waiting.GetAddress());
    MeasureManyBare(waiting.GetAddress());
    MeasureBody(answering.GetAddress());
    std::printf("\nCancelling, milliseconds until the request has ended, of %d\n", CancelCount);
    std::printf("%-12s %6s %6s %6s\n", "phase", "p50", "p99", "worst");
    MeasureCancelling("connecting", MakePost(full.GetAddress()));
    std::string tls = silent.GetAddress();
    MeasureCancelling("TLS", MakePost(tls.replace(0, 4, "https")));
    MeasureCancelling("uploading", MakeLarge(silent.GetAddress()));
    MeasureCancelling("waiting", MakePost(waiting.GetAddress()));
    MeasureCancelling("receiving", MakePost(dripping.GetAddress()));
    std::filesystem::remove(file);
}
