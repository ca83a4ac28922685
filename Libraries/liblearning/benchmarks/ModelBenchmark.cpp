// Running models through Model::Execute() beside the bare C API with a fresh binding and fresh run
// options for each run.

#include "Learning/Model.h"

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <onnxruntime_c_api.h>

#include <cstdlib>
#include <string>

namespace Learning {
namespace {

/// One input and one output of a model, by shape.
struct Case {
    const char* model;
    std::vector<const char*> inputs;
    std::vector<int> inputShape;
    const char* output;
    std::vector<int> outputShape;
};

const Case Tiny{"Add", {"a", "b"}, {1, 4}, "sum", {1, 4}};
const Case SmallInput{"First", {"x"}, {16}, "y", {1}};
const Case LargeInput{"First", {"x"}, {1 << 24}, "y", {1}};  // 64 MiB, of which one element is read
const Case LargeOutput{"Fill", {"x"}, {1}, "y", {1 << 24}};

std::string GetPath(const Case& run) {
    return std::string(TEST_MODELS) + run.model + ".onnx";
}

void RunModel(benchmark::State& state, const Case& run) {
    Model model({GetPath(run)}, Model::CPUOnly);
    Model::TensorMap inputs;
    for (const char* const name : run.inputs) {
        inputs[name] = Kernel::MakeCounted<Tensor>(run.inputShape, 1.0F);
    }
    Model::TensorMap outputs{{run.output, Kernel::MakeCounted<Tensor>(run.outputShape, 0.0F)}};
    for (auto _ : state) {
        if (!model.Execute(inputs, outputs)) {
            state.SkipWithError("the model does not run");
        }
    }
}

const OrtApi& GetBareApi() {
    static const OrtApi& api = [&]() -> const OrtApi& {
        void* const library = dlopen(BARE_RUNTIME, RTLD_NOW);
        const auto getBase =
            reinterpret_cast<const OrtApiBase* (*)()>(dlsym(library, "OrtGetApiBase"));
        return *getBase()->GetApi(23);
    }();
    return api;
}

void Check(OrtStatus* status) {
    if (status != nullptr) {
        std::abort();
    }
}

OrtValue* MakeBareTensor(const std::vector<int>& dims) {
    const OrtApi& api = GetBareApi();
    OrtAllocator* allocator = nullptr;
    Check(api.GetAllocatorWithDefaultOptions(&allocator));
    const std::vector<std::int64_t> shape(dims.begin(), dims.end());
    OrtValue* value = nullptr;
    Check(api.CreateTensorAsOrtValue(allocator, shape.data(), shape.size(),
                                     ONNX_TENSOR_ELEMENT_DATA_TYPE_FLOAT, &value));
    return value;
}

void RunBare(benchmark::State& state, const Case& run) {
    const OrtApi& api = GetBareApi();
    OrtEnv* environment = nullptr;
    OrtSessionOptions* options = nullptr;
    OrtSession* session = nullptr;
    Check(api.CreateEnv(ORT_LOGGING_LEVEL_ERROR, "", &environment));
    Check(api.CreateSessionOptions(&options));
    Check(api.CreateSession(environment, GetPath(run).c_str(), options, &session));
    std::vector<OrtValue*> inputs;
    for (std::size_t i = 0; i < run.inputs.size(); ++i) {
        inputs.push_back(MakeBareTensor(run.inputShape));
    }
    OrtValue* const output = MakeBareTensor(run.outputShape);
    for (auto _ : state) {
        OrtIoBinding* binding = nullptr;
        OrtRunOptions* runOptions = nullptr;
        Check(api.CreateIoBinding(session, &binding));
        for (std::size_t i = 0; i < run.inputs.size(); ++i) {
            Check(api.BindInput(binding, run.inputs[i], inputs[i]));
        }
        Check(api.BindOutput(binding, run.output, output));
        Check(api.CreateRunOptions(&runOptions));
        Check(api.RunWithBinding(session, runOptions, binding));
        api.ReleaseRunOptions(runOptions);
        api.ReleaseIoBinding(binding);
    }
    for (OrtValue* const input : inputs) {
        api.ReleaseValue(input);
    }
    api.ReleaseValue(output);
    api.ReleaseSession(session);
    api.ReleaseSessionOptions(options);
    api.ReleaseEnv(environment);
}

BENCHMARK_CAPTURE(RunModel, Tiny, Tiny);
BENCHMARK_CAPTURE(RunBare, Tiny, Tiny);
BENCHMARK_CAPTURE(RunModel, SmallInput, SmallInput);
BENCHMARK_CAPTURE(RunModel, LargeInput, LargeInput);
BENCHMARK_CAPTURE(RunBare, LargeInput, LargeInput);
BENCHMARK_CAPTURE(RunModel, LargeOutput, LargeOutput);
BENCHMARK_CAPTURE(RunBare, LargeOutput, LargeOutput);

}  // namespace
}  // namespace Learning
