// What remote operations cost the host, beside libcurl alone. Usage:
//     RemoteBenchmark [PART]...
//
// PART is "calls" (the time of a call), "init" (the compiled-in catalogue), "body" (memory for a
// large one) or "many" (calls at once); without one all are measured.

#include "benchmarks/RemoteWorld.h"
#include "support/linux/ServerProcess.h"

#include <algorithm>
#include <atomic>
#include <barrier>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Bare::Authorities;
using Bare::Check;
using Bare::GetMedian;
using Bare::Measure;
using Bare::MeasureAlone;
using Bare::MeasurePeak;
using Bare::Times;
using Bare::World;
using Learning::RemoteInference;

constexpr int Calls = 500;  // pairs, after those that warm up
constexpr int WarmCalls = 20;
constexpr int Initialisations = 20;
constexpr int ManyCount = 64;
constexpr int ManyRounds = 15;
constexpr std::size_t PromptSize = std::size_t{20} << 20;

constexpr const char* Question = "How do I sharpen a photograph?";
constexpr const char* Session = "6f1c9a52-6f5e-4d0e-9f0a-3f8f0a3a2b11";

/// Answers requests for hints with all that has come, and others with a text.
Server::Script Answer(const Server::Request& request) {
    if (!request.target.ends_with("textToMCPHints")) {
        return Server::ReplyAndKeep(200, {}, std::string(1'500, 'x'));
    }
    std::string echo = request.method + " " + request.target + "\r\n";
    for (const auto& [name, value] : request.headers) {
        echo += name + ": " + value + "\r\n";
    }
    return Server::ReplyAndKeep(200, {}, echo + "\r\n" + request.body);
}

void Ask(const World& world, const Kernel::String& prompt = Question) {
    Kernel::String answer;
    Check(world.client.InferTextToHelp(prompt, Session, answer).IsSuccess(), "a call has failed");
}

/// The body of Ask(), which is that of a request for hints, too. Both ways must send the same
/// bytes.
std::string LearnBody(const World& world) {
    constexpr const char* Operation = "textToMCPHints";
    Kernel::String echo;
    Check(world.client.InferTextToMCPHints(Question, Session, echo).IsSuccess(), "no echo");
    const std::string sent(echo.c_str(), echo.size());
    const std::string body = sent.substr(sent.find("\r\n\r\n") + 4);
    Check(Bare::Call(world.GetBare(), Operation).Post(body) == sent, "the peer sends other bytes");
    return body;
}

/// What two ways have taken in turns.
class Pairs {
public:
    /// `ours` and `peer` return what they have taken. Each is first every other time.
    template <class Ours, class Peer>
    void Add(const Ours& ours, const Peer& peer) {
        const bool isFirst = m_ours.size() % 2 == 0;
        const Times early = isFirst ? ours() : peer();
        const Times late = isFirst ? peer() : ours();
        m_ours.push_back(isFirst ? early : late);
        m_peer.push_back(isFirst ? late : early);
    }

    void Print(const char* title, double Times::*time) const {
        std::vector<double> ours;
        std::vector<double> peer;
        std::vector<double> differences;
        std::vector<double> ratios;
        for (std::size_t i = 0; i < m_ours.size(); ++i) {
            ours.push_back(m_ours[i].*time);
            peer.push_back(m_peer[i].*time);
            differences.push_back(ours.back() - peer.back());
            ratios.push_back(ours.back() / peer.back());
        }
        std::printf("%-26s %8.0f us, libcurl %8.0f us, difference %6.0f us, ratio %.3f\n", title,
                    GetMedian(ours) * 1e6, GetMedian(peer) * 1e6, GetMedian(differences) * 1e6,
                    GetMedian(ratios));
    }

private:
    std::vector<Times> m_ours;
    std::vector<Times> m_peer;
};

using Place = Support::ServerProcess;

/// The time of a call, of which what it takes beyond the peer's is the library's own.
void MeasureCalls(const Authorities& authorities, const Place& service, const Place&) {
    MeasureAlone(0, [&] {
        const World world(authorities, service.GetPort());
        const std::string body = LearnBody(world);
        Bare::Call bare(world.GetBare(), "textToHelp");
        for (int i = 0; i < WarmCalls; ++i) {
            Ask(world);
            bare.Post(body);
        }
        Pairs pairs;
        for (int i = 0; i < Calls; ++i) {
            pairs.Add([&] { return Measure([&] { Ask(world); }); },
                      [&] { return Measure([&] { bare.Post(body); }); });
        }
        pairs.Print("a call, processor time", &Times::used);
        pairs.Print("a call, by the clock", &Times::passed);
        std::fflush(stdout);
        return std::vector<double>();
    });
}

/// Init(false), the first of a process and one after it.
void MeasureInit(const Authorities&, const Place&, const Place&) {
    std::vector<double> first;
    std::vector<double> later;
    for (int i = 0; i < Initialisations; ++i) {
        const std::vector<double> times = MeasureAlone(2, [] {
            std::vector<double> figures;
            for (int round = 0; round < 2; ++round) {
                RemoteInference client = RemoteInference::GetInstance();
                figures.push_back(Measure([&] { client.Init(false); }).passed);
                Check(!client.GetTextToImageModels().empty(), "there is no catalogue");
            }
            return figures;
        });
        first.push_back(times[0]);
        later.push_back(times[1]);
    }
    std::printf("Init(false), medians of %d processes: %.0f us, again %.0f us\n", Initialisations,
                GetMedian(first) * 1e6, GetMedian(later) * 1e6);
}

/// The memory for a large prompt, besides the prompt; the peer is given the text of its body.
void MeasureBody(const Authorities& authorities, const Place& service, const Place&) {
    const double ours = MeasureAlone(1, [&] {
        const World world(authorities, service.GetPort());
        Ask(world);  // what is loaded once
        const Kernel::String prompt(PromptSize, 'x');
        return std::vector<double>{MeasurePeak([&] { Ask(world, prompt); })};
    })[0];
    const double peer = MeasureAlone(1, [&] {
        const World world(authorities, service.GetPort());
        Bare::Call bare(world.GetBare(), "textToHelp");
        const std::string body = LearnBody(world);
        bare.Post(body);
        return std::vector<double>{MeasurePeak([&] {
            std::string text;
            text.reserve(PromptSize + 100);
            text.append(R"({"prompt":")").append(PromptSize, 'x').append("\"}");
            bare.Post(text);
        })};
    })[0];
    std::printf("a prompt of 20 MiB: %.0f kB at its peak, libcurl with the whole body %.0f kB\n",
                ours / 1e3, peer / 1e3);
}

/// Threads of a host that make a call each at the same time, again and again.
class Crowd {
public:
    /// `ask` makes a call on the thread with the number that it is given.
    explicit Crowd(std::function<void(std::size_t)> ask) : m_ask(std::move(ask)) {
        for (std::size_t i = 0; i < ManyCount; ++i) {
            m_threads.emplace_back([this, i] {
                for (;;) {
                    m_start.arrive_and_wait();
                    if (m_isEnding) {
                        return;
                    }
                    m_used += Measure([&] { m_ask(i); }).used;
                    m_end.arrive_and_wait();
                }
            });
        }
    }
    Crowd(const Crowd&) = delete;
    Crowd& operator=(const Crowd&) = delete;
    ~Crowd() {
        m_isEnding = true;
        m_start.arrive_and_wait();
        for (std::thread& thread : m_threads) {
            thread.join();
        }
    }

    /// Makes the calls and returns what they have taken in sum, without the threads' own meetings.
    Times Ask() {
        m_used = 0;
        return {Measure([&] {
                    m_start.arrive_and_wait();
                    m_end.arrive_and_wait();
                }).passed,
                m_used};
    }

private:
    const std::function<void(std::size_t)> m_ask;
    std::atomic<double> m_used = 0;
    std::barrier<> m_start{ManyCount + 1};
    std::barrier<> m_end{ManyCount + 1};
    bool m_isEnding = false;
    std::vector<std::thread> m_threads;
};

/// Memory and processor time of many calls that the service answers once all are there. Threads of
/// the host count as the library's.
void MeasureMany(const Authorities& authorities, const Place& service, const Place& gathering) {
    const double ours = MeasureAlone(1, [&] {
        Ask(World(authorities, service.GetPort()));  // what is loaded once
        const World world(authorities, gathering.GetPort());
        std::unique_ptr<Crowd> crowd;
        return std::vector<double>{MeasurePeak([&] {
            crowd = std::make_unique<Crowd>([&](std::size_t) { Ask(world); });
            crowd->Ask();
        })};
    })[0];
    const double peer = MeasureAlone(1, [&] {
        Bare::Calls bare;
        const World first(authorities, service.GetPort());
        const std::string body = LearnBody(first);
        bare.Set(first.GetBare(), "textToHelp", 1);
        bare.Post(body);  // what is loaded once
        const World world(authorities, gathering.GetPort());
        return std::vector<double>{MeasurePeak([&] {
            bare.Set(world.GetBare(), "textToHelp", ManyCount);
            bare.Post(body);
        })};
    })[0];
    std::printf("%d calls at once: %.0f kB each at the peak, libcurl %.0f kB\n", ManyCount,
                ours / 1e3 / ManyCount, peer / 1e3 / ManyCount);
    std::fflush(stdout);
    MeasureAlone(0, [&] {
        const std::string body = LearnBody(World(authorities, service.GetPort()));
        const World world(authorities, gathering.GetPort());
        Bare::Calls bare;
        bare.Set(world.GetBare(), "textToHelp", ManyCount);
        std::vector<std::unique_ptr<Bare::Call>> calls;
        for (int i = 0; i < ManyCount; ++i) {
            calls.push_back(std::make_unique<Bare::Call>(world.GetBare(), "textToHelp"));
        }
        Crowd crowd([&](std::size_t) { Ask(world); });
        Crowd bareCrowd([&](std::size_t i) { calls[i]->Post(body); });  // what threads cost anybody
        const auto measure = [&](const char* threads, const auto& askPeer) {
            crowd.Ask();
            askPeer();
            Pairs pairs;
            for (int i = 0; i < ManyRounds; ++i) {
                pairs.Add([&] { return crowd.Ask(); }, askPeer);
            }
            std::printf("%d calls at once, libcurl in %s\n", ManyCount, threads);
            pairs.Print("  processor time", &Times::used);
            pairs.Print("  by the clock", &Times::passed);
        };
        measure("one thread", [&] { return Measure([&] { bare.Post(body); }); });
        measure("as many threads", [&] { return bareCrowd.Ask(); });
        std::fflush(stdout);
        return std::vector<double>();
    });
}

}  // namespace

int main(int argc, char** argv) {
    // Servers and measurements are processes that start without threads.
    const Authorities authorities;
    const Place service(authorities.MakeOptions(), Answer);
    const auto all = std::make_shared<std::barrier<>>(ManyCount);
    const Place gathering(authorities.MakeOptions(), [all](const Server::Request& request) {
        all->arrive_and_wait();
        return Answer(request);
    });
    const std::vector<std::string> chosen(argv + 1, argv + argc);
    const std::pair<const char*, void (*)(const Authorities&, const Place&, const Place&)> parts[] =
        {{"calls", MeasureCalls},
         {"init", MeasureInit},
         {"body", MeasureBody},
         {"many", MeasureMany}};
    for (const auto& [name, measure] : parts) {
        if (chosen.empty() || std::ranges::find(chosen, name) != chosen.end()) {
            measure(authorities, service, gathering);
            std::fflush(stdout);
        }
    }
}
