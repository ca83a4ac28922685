#include "inference/ModelSession.h"

#include "Kernel/FileSystem.h"
#include "Kernel/IoException.h"
#include "Learning/ThreadingPolicy.h"

#include "inference/AbortWatch.h"
#include "inference/DevicePolicy.h"
#include "inference/ExecutionProviders.h"
#include "inference/ModelInfoReader.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace Learning {

namespace {

constexpr const char* StopSpinningEntry = "session.force_spinning_stop";
constexpr const char* PeakStatistic = "MaxInUse";  // of an arena, in bytes

/// The runtime's name for `policy`, which is not CPU. No other value is ever set, since the runtime
/// crashes on some.
OrtExecutionProviderDevicePolicy ToRuntimePolicy(DevicePolicy policy) noexcept {
    return policy == DevicePolicy::MaxPerformance ? OrtExecutionProviderDevicePolicy_MAX_PERFORMANCE
                                                  : OrtExecutionProviderDevicePolicy_MAX_EFFICIENCY;
}

/// Adds what differs from the runtime's own choice.
void ApplyThreadingPolicy(const ThreadingPolicy& policy, Ort::SessionOptions& options) {
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
                         const ThreadingPolicy& threading, Kernel::AbortFlag abort) {
    const DevicePolicy policy = GetDevicePolicy();
    const bool isAccelerated = policy != DevicePolicy::CPU && ep != Model::CPUOnly;
    if (isAccelerated) {
        RegisterExecutionProviders(environment);
    }
    Ort::SessionOptions options;
    if (isAccelerated) {
        options.SetEpSelectionPolicy(ToRuntimePolicy(policy));
    }
    ApplyThreadingPolicy(threading, options);
    CheckFile(path);
    const AbortWatch watch(abort, [&options] { options.SetLoadCancellationFlag(true); });
    return Ort::Session(environment.Get(), ToRuntimePath(path).c_str(), options);
}

Device::Kind ToKind(OrtHardwareDeviceType type) noexcept {
    switch (type) {
        case OrtHardwareDeviceType_CPU:
            return Device::Kind::CPU;
        case OrtHardwareDeviceType_GPU:
            return Device::Kind::GPU;
        case OrtHardwareDeviceType_NPU:
            return Device::Kind::NPU;
    }
    return Device::Kind::Unknown;
}

}  // namespace

ModelSession::ModelSession(const Kernel::String& path, Model::EP ep, Kernel::AbortFlag abort)
    : ModelSession(path, ep, GetThreadingPolicy(), abort) {}

ModelSession::ModelSession(const Kernel::String& path, Model::EP ep,
                           const ThreadingPolicy& threading, Kernel::AbortFlag abort)
    : m_session(OpenSession(m_environment, path, ep, threading, abort)),
      m_gate(std::max(0, threading.concurrentRuns)) {}

void ModelSession::Run(const Ort::RunOptions& options, const Ort::IoBinding& binding) {
    const auto start = std::chrono::steady_clock::now();
    m_session.Run(options, binding);
    m_lastRun = std::chrono::steady_clock::now() - start;
}

Device ModelSession::FindDevice() const {
    const std::vector<Ort::ConstEpDevice> devices = m_session.GetEpDeviceForInputs();
    if (devices.empty() || devices.front() == nullptr) {
        return {};
    }
    const Ort::ConstHardwareDevice hardware = devices.front().Device();
    return {ToKind(hardware.Type()), devices.front().EpName(), hardware.Vendor()};
}

std::optional<ModelInfo> ModelSession::ReadInfo() const {
    return ReadModelInfo(m_session);
}

RunCost ModelSession::MeasureCost() const {
    const auto place = Ort::MemoryInfo::CreateCpu(OrtArenaAllocator, OrtMemTypeDefault);
    const Ort::KeyValuePairs statistics = Ort::Allocator(m_session, place).GetStats();
    RunCost cost{.lastRun = m_lastRun};
    if (const char* const peak = statistics.GetValue(PeakStatistic)) {
        cost.peakMemory = std::strtoull(peak, nullptr, 10);
    }
    return cost;
}

}  // namespace Learning
