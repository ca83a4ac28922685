#include "inference/ModelSession.h"

#include "Learning/ModelCache.h"

#include "inference/ExecutionProviders.h"

namespace Learning {

namespace {

Ort::Env CreateEnvironment() {
    EnsureOnnxRuntime();
    // Also tells the runtime that C++ is calling it, which its telemetry wants to know.
    return Ort::Env(ORT_LOGGING_LEVEL_ERROR, "");
}

OrtExecutionProviderDevicePolicy GetPolicy(ModelCache::InferenceMode mode) noexcept {
    // Deliberate: every mode but these two is as good as MaxEfficiency, and no other policy is ever
    // set, since the runtime crashes on some values.
    return mode == ModelCache::MaxPerformance ? OrtExecutionProviderDevicePolicy_MAX_PERFORMANCE
                                              : OrtExecutionProviderDevicePolicy_MAX_EFFICIENCY;
}

Ort::Session OpenSession(Ort::Env& environment, const Kernel::String& path, Model::EP ep) {
    const ModelCache::InferenceMode mode = ModelCache::GetInstance().GetInferenceMode();
    const bool isAccelerated = mode != ModelCache::CPU && ep != Model::CPUOnly;
    if (isAccelerated) {
        RegisterExecutionProviders(environment);
    }
    Ort::SessionOptions options;
    if (isAccelerated) {
        options.SetEpSelectionPolicy(GetPolicy(mode));
    }
    return Ort::Session(environment, ToRuntimePath(path).c_str(), options);
}

}  // namespace

ModelSession::ModelSession(const Kernel::String& path, Model::EP ep)
    : m_environment(CreateEnvironment()), m_session(OpenSession(m_environment, path, ep)) {}

}  // namespace Learning
