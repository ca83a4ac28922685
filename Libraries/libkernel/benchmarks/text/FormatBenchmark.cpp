#include "Kernel/Format.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

namespace {

std::atomic<std::size_t> allocations = 0;

}  // namespace

// Replaced for this whole program, to count what is allocated. Not inlined, or the compiler sees
// new beside free and warns.
[[gnu::noinline]] void* operator new(std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* const memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

namespace Kernel {
namespace {

constexpr const char* Name = "a name that is longer than most";

/// Measures `write`, and how often it allocates.
template <class Write>
void Measure(benchmark::State& state, Write write) {
    int number = 12345;
    const std::size_t before = allocations;
    for (auto _ : state) {
        benchmark::DoNotOptimize(number);
        benchmark::DoNotOptimize(write(number));
    }
    const auto made = static_cast<double>(allocations - before);
    state.counters["allocations"] = made / static_cast<double>(state.iterations());
}

void FormatTwo(benchmark::State& state) {
    Measure(state, [](int number) { return Format("%1 of %2", number, Name); });
}
BENCHMARK(FormatTwo);

void PrintTwo(benchmark::State& state) {
    Measure(state, [](int number) {
        char text[100];
        const int size = std::snprintf(text, sizeof text, "%d of %s", number, Name);
        return std::string(text, static_cast<std::size_t>(size));
    });
}
BENCHMARK(PrintTwo);

void ConcatenateTwo(benchmark::State& state) {
    Measure(state, [](int number) { return std::to_string(number) + " of " + Name; });
}
BENCHMARK(ConcatenateTwo);

}  // namespace
}  // namespace Kernel
