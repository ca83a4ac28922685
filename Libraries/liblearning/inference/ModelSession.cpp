#include "inference/ModelSession.h"

#include "Learning/ModelCache.h"

#include "inference/ExecutionProviders.h"

namespace Learning {

namespace {

OrtExecutionProviderDevicePolicy GetPolicy(ModelCache::InferenceMode mode) noexcept {
    // Deliberate: every mode but these two is as good as MaxEfficiency, and no other policy is ever
    // set, since the runtime crashes on some values.
    return mode == ModelCache::MaxPerformance ? OrtExecutionProviderDevicePolicy_MAX_PERFORMANCE
                                              : OrtExecutionProviderDevicePolicy_MAX_EFFICIENCY;
}

Ort::Session OpenSession(RuntimeEnvironment& environment, const Kernel::String& path,
                         Model::EP ep) {
    const ModelCache::InferenceMode mode = ModelCache::GetInstance().GetInferenceMode();
    const bool isAccelerated = mode != ModelCache::CPU && ep != Model::CPUOnly;
    if (isAccelerated) {
        RegisterExecutionProviders(environment);
    }
    Ort::SessionOptions options;
    if (isAccelerated) {
        options.SetEpSelectionPolicy(GetPolicy(mode));
    }
    return Ort::Session(environment.Get(), ToRuntimePath(path).c_str(), options);
}

}  // namespace

ModelSession::ModelSession(const Kernel::String& path, Model::EP ep)
    : m_session(OpenSession(m_environment, path, ep)) {}

}  // namespace Learning
