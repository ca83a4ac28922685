// What requests cost the client, over HTTPS with the system's certificate authorities, of which one
// more has signed the server's certificate. Times are processor time of the client's own thread.

#include "Network/Http.h"
#include "Network/Settings.h"
#include "Server/ScriptedServer.h"

#include "curl/Curl.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>

namespace {

using namespace Network;

/// A server, and the file of all authorities that its clients trust.
struct World {
    World() {
        std::stringstream authorities;
        if (const char* const system = curl_version_info(CURLVERSION_NOW)->cainfo) {
            authorities << std::ifstream(system).rdbuf();
        }
        authorities << authority.GetCertificate();
        std::ofstream(file) << authorities.str();
        SetCertificateAuthorities(file.c_str());
        SetProxy("");
        setenv("no_proxy", "*", 1);  // for the peer
    }
    ~World() { std::filesystem::remove(file); }

    Server::ScriptedServer::Options MakeOptions() const {
        Server::ScriptedServer::Options options;
        options.identity = authority.Issue();
        return options;
    }

    const Server::CertificateAuthority authority;
    const std::filesystem::path file = "orvantis-benchmark-authorities.pem";
    const Server::ScriptedServer server{
        MakeOptions(), [](const Server::Request&) { return Server::ReplyAndKeep(200, {}, "{}"); }};
    const std::string address = "https://127.0.0.1:" + std::to_string(server.GetPort()) + "/";
};

const World& GetWorld() {
    static const World world;
    return world;
}

double GetThreadSeconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

template <class Call>
void Measure(benchmark::State& state, Call call) {
    call();  // what is done once
    for ([[maybe_unused]] const auto _ : state) {
        const double start = GetThreadSeconds();
        call();
        state.SetIterationTime(GetThreadSeconds() - start);
    }
}

void Post(benchmark::State& state, Kernel::Counted<Session> session) {
    Http::Request request;
    request.address = GetWorld().address;
    request.method = Http::Method::Post;
    request.body = Kernel::MakeCounted<Utf8DataSource>("{}");
    request.session = std::move(session);
    Measure(state, [&] { Http::DoRequest(request, true); });
}

void SmallPost(benchmark::State& state) {
    Post(state, nullptr);
}
BENCHMARK(SmallPost)->UseManualTime();

void SmallPostInSession(benchmark::State& state) {
    Post(state, Kernel::MakeCounted<Session>());
}
BENCHMARK(SmallPostInSession)->UseManualTime();

/// One handle for all requests, which keeps the authorities that it has parsed.
void SmallPostBare(benchmark::State& state) {
    const World& world = GetWorld();
    const CurlHandle handle(curl_easy_init());
    Measure(state, [&] {
        curl_easy_reset(handle.get());
        curl_easy_setopt(handle.get(), CURLOPT_URL, world.address.c_str());
        curl_easy_setopt(handle.get(), CURLOPT_CAINFO, world.file.c_str());
        curl_easy_setopt(handle.get(), CURLOPT_CAPATH, nullptr);
        curl_easy_setopt(handle.get(), CURLOPT_FRESH_CONNECT, 1L);
        curl_easy_setopt(handle.get(), CURLOPT_FORBID_REUSE, 1L);
        curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDS, "{}");
        curl_easy_setopt(
            handle.get(), CURLOPT_WRITEFUNCTION,
            +[](char*, std::size_t, std::size_t size, void*) { return size; });
        if (curl_easy_perform(handle.get()) != CURLE_OK) {
            state.SkipWithError("the peer's request has failed");
        }
    });
}
BENCHMARK(SmallPostBare)->UseManualTime();

}  // namespace
