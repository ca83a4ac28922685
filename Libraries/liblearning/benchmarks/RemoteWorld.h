// What programs share that measure remote operations: a service in another process, with a
// certificate that an authority among those of the system has signed, and measurements that have a
// process each.

#pragma once

#include "Learning/RemoteInference.h"
#include "Network/Routes.h"
#include "Network/Settings.h"
#include "Server/ScriptedServer.h"

#include "benchmarks/BareService.h"
#include "support/linux/ProcessStatus.h"

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace Bare {

/// Ends the program unless `isDone`.
inline void Check(bool isDone, const char* what) {
    if (!isDone) {
        std::fprintf(stderr, "benchmark: %s\n", what);
        std::exit(1);
    }
}

inline double GetMedian(std::vector<double> values) {
    std::ranges::nth_element(values, values.begin() + static_cast<int>(values.size() / 2));
    return values[values.size() / 2];
}

inline std::string GetHost() {
    std::string host = ORVANTIS_SERVICE_URL;
    host.erase(0, std::string("https://").size());
    return host.substr(0, host.find_first_of("/:"));
}

/// The system's authorities and one more, in a file.
class Authorities {
public:
    Authorities() {
        std::ofstream file(m_path);
        if (const char* const system = curl_version_info(CURLVERSION_NOW)->cainfo) {
            file << std::ifstream(system).rdbuf();
        }
        file << m_own.GetCertificate();
    }
    Authorities(const Authorities&) = delete;
    Authorities& operator=(const Authorities&) = delete;
    ~Authorities() { std::filesystem::remove(m_path); }

    const std::string& GetPath() const noexcept { return m_path; }
    Server::ScriptedServer::Options MakeOptions() const {
        Server::ScriptedServer::Options options;
        options.identity = m_own.Issue(Server::CertificateAuthority::Flaw::None, {GetHost()});
        options.maxRecorded = 0;
        return options;
    }

private:
    const Server::CertificateAuthority m_own;
    const std::string m_path = std::filesystem::temp_directory_path() /
                               ("orvantis-authorities-" + std::to_string(getpid()) + ".pem");
};

/// The service as both ways see it.
class World {
public:
    World(const Authorities& authorities, int port)
        : m_route(GetHost(), "127.0.0.1", static_cast<std::uint16_t>(port)),
          m_bare{ORVANTIS_SERVICE_URL, GetHost() + "::127.0.0.1:" + std::to_string(port),
                 authorities.GetPath()} {
        Network::SetCertificateAuthorities(authorities.GetPath());
        Network::SetProxy("");
        client.SetMirelAccessTokens("https://api.orvantis.example/", std::string(600, 't'), "4711");
    }

    const Service& GetBare() const noexcept { return m_bare; }

    Learning::RemoteInference& client = Learning::RemoteInference::GetInstance();

private:
    const Network::ScopedRoute m_route;
    const Service m_bare;
};

/// Calls `measure` in another process and returns its figures, of which there are `count`.
inline std::vector<double> MeasureAlone(std::size_t count,
                                        const std::function<std::vector<double>()>& measure) {
    int ends[2];
    Check(pipe(ends) == 0, "no pipe");
    const pid_t process = fork();
    if (process == 0) {
        const std::vector<double> figures = measure();
        const auto size = static_cast<ssize_t>(figures.size() * sizeof(double));
        _exit(write(ends[1], figures.data(), static_cast<std::size_t>(size)) == size ? 0 : 1);
    }
    close(ends[1]);
    std::vector<double> figures(count);
    const auto size = static_cast<ssize_t>(count * sizeof(double));
    Check(read(ends[0], figures.data(), static_cast<std::size_t>(size)) == size,
          "a measurement has failed");
    close(ends[0]);
    waitpid(process, nullptr, 0);
    return figures;
}

/// Seconds, by the clock and of a processor.
struct Times {
    double passed = 0;
    double used = 0;
};

inline double GetSeconds(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// What `work` takes on this thread.
template <class Work>
Times Measure(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    const double before = GetSeconds(CLOCK_THREAD_CPUTIME_ID);
    work();
    return {std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
            GetSeconds(CLOCK_THREAD_CPUTIME_ID) - before};
}

/// By how many bytes memory grows at its peak during `work`.
template <class Work>
double MeasurePeak(const Work& work) {
    malloc_trim(0);                                 // what is free would be used unnoticed
    std::ofstream("/proc/self/clear_refs") << "5";  // the peak starts anew, see proc(5)
    const std::int64_t idle = Support::GetMemoryStatus("VmRSS:");
    Check(Support::GetMemoryStatus("VmHWM:") < idle + 500'000, "the peak does not start anew");
    work();
    return static_cast<double>(Support::GetMemoryStatus("VmHWM:") - idle);
}

}  // namespace Bare
