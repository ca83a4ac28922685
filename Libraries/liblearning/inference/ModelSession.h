// One open model file.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/String.h"
#include "Learning/Model.h"
#include "Learning/ThreadingPolicy.h"

#include "inference/ONNXRuntime.h"
#include "inference/RunGate.h"
#include "inference/RuntimeEnvironment.h"

#include <atomic>
#include <chrono>
#include <optional>

namespace Learning {

/// An inference session and a reference to the environment that it lives in.
class ModelSession : public Kernel::Countable {
public:
    /// Opens the model file at `path`. Throws Ort::Exception if the runtime refuses, or what the
    /// registration of execution providers throws.
    ModelSession(const Kernel::String& path, Model::EP ep, Kernel::AbortFlag abort);

    /// Runs what `binding` holds. Throws Ort::Exception if the runtime refuses or is told to end.
    void Run(const Ort::RunOptions& options, const Ort::IoBinding& binding);

    Ort::Session& GetSession() noexcept { return m_session; }
    /// A run needs a pass.
    RunGate& GetGate() noexcept { return m_gate; }

    // All ask the runtime, and throw Ort::Exception if it refuses.
    Device FindDevice() const;
    std::optional<ModelInfo> ReadInfo() const;
    RunCost MeasureCost() const;

private:
    // The policy is asked for once: another may be set while the session is opened.
    ModelSession(const Kernel::String& path, Model::EP ep, const ThreadingPolicy& threading,
                 Kernel::AbortFlag abort);

    RuntimeEnvironment m_environment;  // released after the session
    Ort::Session m_session;
    RunGate m_gate;
    std::atomic<std::chrono::nanoseconds> m_lastRun{};
};

}  // namespace Learning
