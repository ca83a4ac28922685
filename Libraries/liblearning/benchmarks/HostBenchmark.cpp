// What a host that lives for days sees of networks that it uses for seconds. Usage:
//     HostBenchmark PART WAY FOLDER
//
// PART is "memory" (what a network leaves behind), "idle" (the processor time after runs),
// "sharing" (runs of many threads) or "pixels" (work on pixels between runs). WAY is "learning",
// "spinning" (the same with threads that wait for the next run by spinning, as they do by default)
// or "bare" (the runtime's C API alone). FOLDER has the models DepthEstimation_2.6.onnx and
// SuperResolution_2.6.onnx. Prints one line.

#include "Learning/ModelCache.h"
#include "Learning/TensorImages.h"
#include "Learning/ThreadingPolicy.h"

#include "benchmarks/BareNetwork.h"
#include "support/linux/ProcessStatus.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Learning::Model;
using Learning::ModelCache;
using Learning::Tensor;
using Clock = std::chrono::steady_clock;

constexpr int Cycles = 100;
constexpr int IdleRuns = 20;
constexpr int PixelRounds = 80;
constexpr auto SharingTime = 3s;

/// A network, with one input and one output.
struct Example {
    ModelCache::ModelType type;
    const char* file;
    Bare::Network::Place input;
    Bare::Network::Place output;
};

const Example Large{ModelCache::SuperResolution,
                    "SuperResolution_2.6.onnx",
                    {"input", {1, 3, 128, 128}},
                    {"output", {1, 3, 256, 256}}};
const Example Small{ModelCache::DepthEstimation,
                    "DepthEstimation_2.6.onnx",
                    {"0", {1, 3, 224, 224}},
                    {"350", {1, 1, 224, 224}}};

double ToMilliseconds(Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

double GetMegabytes() {
    return static_cast<double>(Support::GetOwnMemory()) * 1e-6;
}

template <class Work>
double Measure(const Work& work) {
    const auto start = Clock::now();
    work();
    return ToMilliseconds(Clock::now() - start);
}

Kernel::Counted<Tensor> MakeTensor(const Bare::Network::Place& place) {
    return Kernel::MakeCounted<Tensor>(std::vector<int>(place.shape.begin(), place.shape.end()),
                                       0.5F);
}

void Run(Model& model, const Example& example, bool releasesMemory = false) {
    Model::TensorMap outputs{{example.output.name, MakeTensor(example.output)}};
    const auto result = model.Execute({{example.input.name, MakeTensor(example.input)}}, outputs,
                                      {.releasesMemory = releasesMemory});
    Bare::Check(result == Learning::RunResult::Done, "a run has failed");
}

/// A network that is open in one of the two ways, and a way to run it once.
class Opened {
public:
    Opened(const Example& example, const std::string& folder, bool isBare) : m_example(example) {
        if (isBare) {
            m_bare = std::make_unique<Bare::Network>((folder + "/" + example.file).c_str());
        } else {
            m_model = ModelCache::GetInstance().GetModel(example.type);
            Bare::Check(static_cast<bool>(m_model), "a model can't be opened");
        }
    }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;
    ~Opened() {
        m_model = nullptr;
        if (!m_bare) {
            ModelCache::GetInstance().Shutdown();
        }
    }

    void Run(bool releasesMemory = false) {
        if (m_bare) {
            m_bare->Run(m_example.input, m_example.output);
        } else {
            ::Run(*m_model, m_example, releasesMemory);
        }
    }

private:
    const Example& m_example;
    std::unique_ptr<Bare::Network> m_bare;
    Kernel::Counted<Model> m_model;
};

void MeasureMemory(const std::string& folder, bool isBare) {
    const double start = GetMegabytes();
    double used = 0;
    double released = 0;
    {
        Opened network(Large, folder, isBare);
        network.Run();
        used = GetMegabytes() - start;
        network.Run(true);
        released = GetMegabytes() - start;
    }
    const double closed = GetMegabytes() - start;
    for (int i = 0; i < Cycles; ++i) {
        Opened(Large, folder, isBare).Run();
    }
    const double growth = GetMegabytes() - start - closed;
    std::printf(
        "MB above the start: %.1f after a run, %.1f after one that gives memory back, %.1f when "
        "closed; %.1f more after %d further cycles\n",
        used, released, closed, growth, Cycles);
}

void MeasureIdleTime(const std::string& folder, bool isBare) {
    Opened network(Large, folder, isBare);
    network.Run();
    double run = 0;
    double idle = 0;
    for (int i = 0; i < IdleRuns; ++i) {
        run += Measure([&] { network.Run(); });
        const double before = Support::GetProcessorTime();
        std::this_thread::sleep_for(200ms);
        idle += Support::GetProcessorTime() - before;
    }
    std::printf("a run %.1f ms, processor time in the 200 ms after it %.2f ms\n", run / IdleRuns,
                idle / IdleRuns);
}

/// By our ways, 8 threads run one model; by the bare one, 2 threads run a session each.
void MeasureSharing(const std::string& folder, bool isBare) {
    const double start = GetMegabytes();
    std::vector<std::unique_ptr<Opened>> networks;
    for (int i = 0; i < (isBare ? 2 : 1); ++i) {
        networks.push_back(std::make_unique<Opened>(Small, folder, isBare));
    }
    std::atomic<int> count = 0;
    std::vector<std::thread> threads;
    const auto end = Clock::now() + SharingTime;
    for (std::size_t i = 0; i < (isBare ? 2 : 8); ++i) {
        threads.emplace_back([&, i] {
            while (Clock::now() < end) {
                networks[i % networks.size()]->Run();
                ++count;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::printf("%zu threads, %zu sessions: %.1f runs a second, %.1f MB\n", threads.size(),
                networks.size(), count * 1e3 / ToMilliseconds(SharingTime), GetMegabytes() - start);
}

double GetMedian(std::vector<double> values) {
    std::ranges::nth_element(values, values.begin() + static_cast<int>(values.size() / 2));
    return values[values.size() / 2];
}

void MeasurePixels(const std::string& folder, bool isBare) {
    constexpr int Width = 4096;
    constexpr int Height = 3072;
    const Raster::DynamicBitmap picture(Width, Height);
    Tensor planes({3, Height, Width});
    Opened network(Small, folder, isBare);
    std::vector<double> alone;
    std::vector<double> between;
    for (int i = 0; i < PixelRounds; ++i) {
        const auto work = [&] { Learning::FillTensorCHW(planes, picture); };
        network.Run();
        between.push_back(Measure(work));
        network.Run();                       // so that caches are as cold
        std::this_thread::sleep_for(100ms);  // whatever spins has given up
        alone.push_back(Measure(work));
    }
    const double ratio = GetMedian(between) / GetMedian(alone);
    std::printf("planes of %d x %d: %.2f ms alone, %.2f ms after a run, ratio %.2f\n", Width,
                Height, GetMedian(alone), GetMedian(between), ratio);
}

}  // namespace

int main(int argc, char** argv) {
    Bare::Check(argc == 4, "usage: HostBenchmark PART WAY FOLDER");
    const std::string part = argv[1];
    const std::string way = argv[2];
    const std::string folder = argv[3];
    ModelCache::GetInstance().SetModelCacheFolder(folder.c_str());
    if (way == "learning") {
        const bool areShared = part == "sharing";
        const int cores = static_cast<int>(std::thread::hardware_concurrency());
        Learning::SetThreadingPolicy({.threads = areShared ? 1 : 0,
                                      .concurrentRuns = areShared ? cores : 0,
                                      .spinsBetweenRuns = false});
    }
    const std::pair<const char*, void (*)(const std::string&, bool)> parts[] = {
        {"memory", MeasureMemory},
        {"idle", MeasureIdleTime},
        {"sharing", MeasureSharing},
        {"pixels", MeasurePixels},
    };
    const auto* const chosen =
        std::ranges::find(parts, part, [](const auto& entry) { return entry.first; });
    Bare::Check(chosen != std::end(parts), "there is no such part");
    chosen->second(folder, way == "bare");
}
