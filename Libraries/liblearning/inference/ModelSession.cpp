#include "inference/ModelSession.h"

#include "inference/DevicePolicy.h"
#include "inference/ExecutionProviders.h"

namespace Learning {

namespace {

/// The runtime's name for `policy`, which is not CPU. No other value is ever set, since the runtime
/// crashes on some.
OrtExecutionProviderDevicePolicy ToRuntimePolicy(DevicePolicy policy) noexcept {
    return policy == DevicePolicy::MaxPerformance ? OrtExecutionProviderDevicePolicy_MAX_PERFORMANCE
                                                  : OrtExecutionProviderDevicePolicy_MAX_EFFICIENCY;
}

Ort::Session OpenSession(RuntimeEnvironment& environment, const Kernel::String& path,
                         Model::EP ep) {
    const DevicePolicy policy = GetDevicePolicy();
    const bool isAccelerated = policy != DevicePolicy::CPU && ep != Model::CPUOnly;
    if (isAccelerated) {
        RegisterExecutionProviders(environment);
    }
    Ort::SessionOptions options;
    if (isAccelerated) {
        options.SetEpSelectionPolicy(ToRuntimePolicy(policy));
    }
    return Ort::Session(environment.Get(), ToRuntimePath(path).c_str(), options);
}

}  // namespace

ModelSession::ModelSession(const Kernel::String& path, Model::EP ep)
    : m_session(OpenSession(m_environment, path, ep)) {}

}  // namespace Learning
