#include "Kernel/String.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <memory>
#include <string>

namespace Kernel {
namespace {

constexpr std::size_t Length = 100;

/// Copies one text that all threads share.
template <class Text>
void Copy(benchmark::State& state, const Text& text) {
    for (auto _ : state) {
        Text copy = text;
        benchmark::DoNotOptimize(copy);
    }
}

void CopyString(benchmark::State& state) {
    static const String text(Length, 'x');
    Copy(state, text);
}
BENCHMARK(CopyString)->Threads(1)->Threads(2);

void CopySharedPointer(benchmark::State& state) {
    static const auto text = std::make_shared<const std::string>(Length, 'x');
    Copy(state, text);
}
BENCHMARK(CopySharedPointer)->Threads(1)->Threads(2);

void CopyStdString(benchmark::State& state) {
    static const std::string text(Length, 'x');
    Copy(state, text);
}
BENCHMARK(CopyStdString)->Threads(1)->Threads(2);

/// The least that a copy and its end can cost.
void CountUpAndDown(benchmark::State& state) {
    static std::atomic<int> count = 1;
    for (auto _ : state) {
        count.fetch_add(1, std::memory_order_relaxed);
        benchmark::DoNotOptimize(count.fetch_sub(1, std::memory_order_acq_rel));
    }
}
BENCHMARK(CountUpAndDown)->Threads(1)->Threads(2);

void AppendBytes(benchmark::State& state) {
    for (auto _ : state) {
        String text;
        for (std::size_t i = 0; i < 1023; ++i) {
            text.push_back('x');
        }
        benchmark::DoNotOptimize(text);
    }
    state.SetItemsProcessed(state.iterations() * 1023);
}
BENCHMARK(AppendBytes);

}  // namespace
}  // namespace Kernel
