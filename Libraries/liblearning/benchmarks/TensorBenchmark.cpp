#include "Learning/Tensor.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>

namespace Learning {
namespace {

// Filling a new tensor beside filling a new array; both release it again.

void FillNewTensor(benchmark::State& state) {
    const auto side = static_cast<int>(state.range(0));
    for (auto _ : state) {
        const Tensor tensor({1, 3, side, side}, 0.5F);
        benchmark::DoNotOptimize(tensor.GetValueAtIndexedSubscript(0));
    }
    state.SetItemsProcessed(state.iterations() * 3 * side * side);
}
BENCHMARK(FillNewTensor)->Arg(15)->Arg(101)->Arg(513)->Arg(1023);

void FillNewArray(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(3 * state.range(0) * state.range(0));
    for (auto _ : state) {
        const std::unique_ptr<float[]> array(new float[count]);
        std::fill(array.get(), array.get() + count, 0.5F);
        benchmark::DoNotOptimize(array[0]);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
}
BENCHMARK(FillNewArray)->Arg(15)->Arg(101)->Arg(513)->Arg(1023);

// Reading and writing each element by its subscript beside the same over a raw array.

constexpr std::uint64_t SubscriptCount = 300'003;

void SubscriptTensor(benchmark::State& state) {
    Tensor tensor({static_cast<int>(SubscriptCount)}, 0.5F);
    for (auto _ : state) {
        for (std::uint64_t i = 0; i < SubscriptCount; ++i) {
            tensor.SetValueAtIndexedSubscript(i, tensor.GetValueAtIndexedSubscript(i) + 1.0F);
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(SubscriptCount));
}
BENCHMARK(SubscriptTensor);

void SubscriptArray(benchmark::State& state) {
    const std::unique_ptr<float[]> array(new float[SubscriptCount]());
    float* const data = array.get();
    for (auto _ : state) {
        for (std::uint64_t i = 0; i < SubscriptCount; ++i) {
            data[i] = data[i] + 1.0F;
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(SubscriptCount));
}
BENCHMARK(SubscriptArray);

}  // namespace
}  // namespace Learning
