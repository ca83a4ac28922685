#include "inference/ModelSession.h"

#include "Kernel/FileSystem.h"
#include "Kernel/IoException.h"

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

/// Throws Ort::Exception for what the runtime would read without end, and for half a path.
void CheckFile(const Kernel::String& path) {
    try {
        Kernel::FileSystem::RefuseOtherThanFile(path);
    } catch (const Kernel::IoException& error) {
        throw Ort::Exception(error.what(), ORT_NO_SUCHFILE);
    }
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
    CheckFile(path);
    return Ort::Session(environment.Get(), ToRuntimePath(path).c_str(), options);
}

}  // namespace

ModelSession::ModelSession(const Kernel::String& path, Model::EP ep)
    : m_session(OpenSession(m_environment, path, ep)) {}

}  // namespace Learning
