#include "Kernel/Dispatch.h"

#include <benchmark/benchmark.h>

#include <thread>
#include <vector>

namespace Kernel::Dispatch {
namespace {

/// The cost of a loop whose jobs do nothing worth it.
void RunTinyJobs(benchmark::State& state) {
    std::vector<int> records(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        DispatchParallelFor([](int& record) { ++record; }, records.size(), records.data(),
                            Priority::Normal, ThreadPurpose::General, 0);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(RunTinyJobs)->Arg(1)->Arg(2)->Arg(6)->Arg(100)->UseRealTime();

/// What a thread for each of the jobs would cost.
void StartThreads(benchmark::State& state) {
    for (auto _ : state) {
        std::vector<std::jthread> threads;
        for (int i = 0; i < state.range(0); ++i) {
            threads.emplace_back([] {});
        }
    }
}
BENCHMARK(StartThreads)->Arg(2)->Arg(6)->UseRealTime();

}  // namespace
}  // namespace Kernel::Dispatch
