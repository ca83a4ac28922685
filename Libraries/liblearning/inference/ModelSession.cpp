#include "inference/ModelSession.h"

#include "Kernel/FileSystem.h"
#include "Kernel/IoException.h"
#include "Learning/ThreadingPolicy.h"

#include "inference/AbortWatch.h"
#include "inference/DevicePolicy.h"
#include "inference/ExecutionProviders.h"

namespace Learning {

namespace {

constexpr const char* StopSpinningEntry = "session.force_spinning_stop";

/// The runtime's name for `policy`, which is not CPU. No other value is ever set, since the runtime
/// crashes on some.
OrtExecutionProviderDevicePolicy ToRuntimePolicy(DevicePolicy policy) noexcept {
    return policy == DevicePolicy::MaxPerformance ? OrtExecutionProviderDevicePolicy_MAX_PERFORMANCE
                                                  : OrtExecutionProviderDevicePolicy_MAX_EFFICIENCY;
}

/// Adds what differs from the runtime's own choice.
void ApplyThreadingPolicy(Ort::SessionOptions& options) {
    const ThreadingPolicy policy = GetThreadingPolicy();
    if (policy.threads > 0) {
        options.SetIntraOpNumThreads(policy.threads);
    }
    if (!policy.spinsBetweenRuns) {
        options.AddConfigEntry(StopSpinningEntry, "1");
    }
}

/// Throws Ort::Exception for what the runtime would read without end, and for half a path.
void CheckFile(const Kernel::String& path) {
    try {
        Kernel::FileSystem::RefuseOtherThanFile(path);
    } catch (const Kernel::IoException& error) {
        throw Ort::Exception(error.what(), ORT_NO_SUCHFILE);
    }
}

Ort::Session OpenSession(RuntimeEnvironment& environment, const Kernel::String& path, Model::EP ep,
                         Kernel::AbortFlag abort) {
    const DevicePolicy policy = GetDevicePolicy();
    const bool isAccelerated = policy != DevicePolicy::CPU && ep != Model::CPUOnly;
    if (isAccelerated) {
        RegisterExecutionProviders(environment);
    }
    Ort::SessionOptions options;
    if (isAccelerated) {
        options.SetEpSelectionPolicy(ToRuntimePolicy(policy));
    }
    ApplyThreadingPolicy(options);
    CheckFile(path);
    const AbortWatch watch(abort, [&options] { options.SetLoadCancellationFlag(true); });
    return Ort::Session(environment.Get(), ToRuntimePath(path).c_str(), options);
}

}  // namespace

ModelSession::ModelSession(const Kernel::String& path, Model::EP ep, Kernel::AbortFlag abort)
    : m_session(OpenSession(m_environment, path, ep, abort)) {}

}  // namespace Learning
