// What a host that lives for days sees of a network that it uses for seconds: memory that stays,
// and processor time that an idle session takes. Usage: HostBenchmark FOLDER
//
// FOLDER has the model SuperResolution_2.6.onnx. Prints a table of memory above the start, the
// growth over 100 cycles of loading, running and Shutdown(), and the processor time after runs.

#include "Learning/ModelCache.h"
#include "Learning/ThreadingPolicy.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>
#include <thread>

namespace {

using namespace std::chrono_literals;
using Learning::ModelCache;
using Learning::Tensor;
using Clock = std::chrono::steady_clock;

constexpr int Side = 128;
constexpr int Scale = 2;
constexpr int Cycles = 100;
constexpr int Runs = 20;

/// Of the process alone, in MB, without what it shares with files: the code of libraries.
double GetMemory() {
    std::ifstream status("/proc/self/status");
    std::string word;
    double size = 0;
    while (status >> word && word != "RssAnon:") {
    }
    status >> size;
    return size * 1024 / 1e6;
}

/// Processor time of the process, in milliseconds.
double GetProcessorTime() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6;
}

void Check(bool isDone) {
    if (!isDone) {
        std::exit(1);  // the log has said why
    }
}

/// Runs the network once, and returns the milliseconds that this takes.
double Run(bool releasesMemory) {
    const auto model = ModelCache::GetInstance().GetModel(ModelCache::SuperResolution);
    Check(static_cast<bool>(model));
    const auto photo = Kernel::MakeCounted<Tensor>(std::vector<int>{1, 3, Side, Side}, 0.5F);
    Learning::Model::TensorMap outputs{{"output", Kernel::MakeCounted<Tensor>(std::vector<int>{
                                                      1, 3, Scale * Side, Scale * Side})}};
    const auto start = Clock::now();
    Check(model->Execute({{"input", photo}}, outputs, {.releasesMemory = releasesMemory}) ==
          Learning::RunResult::Done);
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

void MeasureMemory() {
    ModelCache& cache = ModelCache::GetInstance();
    const double start = GetMemory();
    Run(false);
    const double loaded = GetMemory();
    Run(true);
    const double released = GetMemory();
    cache.Shutdown();
    const double closed = GetMemory();
    std::printf(
        "MB above the start: %.1f after opening and running, %.1f after a run that releases"
        " its memory, %.1f after Shutdown\n",
        loaded - start, released - start, closed - start);
    for (int i = 0; i < Cycles; ++i) {
        Run(false);
        cache.Shutdown();
    }
    std::printf("growth over %d further cycles: %.1f MB\n", Cycles, GetMemory() - closed);
}

void MeasureIdleTime(bool spins) {
    Learning::SetThreadingPolicy({.spinsBetweenRuns = spins});
    double run = 0;
    double idle = 0;
    Run(false);  // opens
    for (int i = 0; i < Runs; ++i) {
        run += Run(false);
        const double before = GetProcessorTime();
        std::this_thread::sleep_for(200ms);
        idle += GetProcessorTime() - before;
    }
    std::printf("%-16s run %.1f ms, processor time in the 200 ms after it %.2f ms\n",
                spins ? "with spinning" : "without spinning", run / Runs, idle / Runs);
    ModelCache::GetInstance().Shutdown();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: HostBenchmark FOLDER\n", stderr);
        return 2;
    }
    ModelCache::GetInstance().SetModelCacheFolder(argv[1]);
    MeasureMemory();
    MeasureIdleTime(true);
    MeasureIdleTime(false);
}
