#include "Learning/Model.h"

#include "inference/AbortWatch.h"
#include "inference/ModelSession.h"
#include "inference/ONNXTensor.h"
#include "inference/RuntimeErrors.h"

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <utility>

namespace Learning {

namespace {

constexpr const char* ShrinkageEntry = "memory.enable_memory_arena_shrinkage";

/// The session of the file at `path`; null, with the reason in `failure` and a line in the log, if
/// the runtime can't open it. Cancelling is worth no line.
Kernel::Counted<ModelSession> TryOpen(const Kernel::String& path, Model::EP ep,
                                      Kernel::AbortFlag abort, Kernel::String& failure) {
    try {
        return Kernel::MakeCounted<ModelSession>(path, ep, abort);
    } catch (const Ort::Exception& error) {
        if (Kernel::IsSet(abort)) {
            failure = "the loading was cancelled";
        } else {
            LogRuntimeError(error);
            failure = error.what();
        }
        return nullptr;
    }
}

/// Writes the outputs that are inputs, which the runtime takes for done. Throws Ort::Exception if a
/// shape is not that of the input.
void CopyPassedThrough(const Model::TensorMap& inputs, const Model::TensorMap& outputs) {
    for (const auto& [name, output] : outputs) {
        const auto input = inputs.find(name);  // ONNX has one name for one value
        if (input == inputs.end()) {
            continue;
        }
        const std::vector<int> shape = output->GetDimensions();
        if (input->second->GetDimensions() != shape) {
            throw Ort::Exception("an output that is an input has another shape",
                                 ORT_INVALID_ARGUMENT);
        }
        const auto count = std::accumulate(
            shape.begin(), shape.end(), std::uint64_t{1},
            [](std::uint64_t size, int side) { return size * static_cast<std::uint64_t>(side); });
        for (std::uint64_t i = 0; i < count; ++i) {
            output->SetValueAtIndexedSubscript(i, input->second->GetValueAtIndexedSubscript(i));
        }
    }
}

/// What `session` says; nothing, and a line in the log, if the runtime refuses.
template <class Answer>
Answer Ask(const ModelSession* session, Answer (ModelSession::*question)() const) {
    try {
        return session != nullptr ? (session->*question)() : Answer{};
    } catch (const Ort::Exception& error) {
        LogRuntimeError(error);
        return {};
    }
}

}  // namespace

Model::Model(const std::vector<Kernel::String>& paths, EP ep) : Model(paths, ep, nullptr) {}

Model::Model(const std::vector<Kernel::String>& paths, EP ep, Kernel::AbortFlag abort) {
    m_sessions.reserve(paths.size());
    for (const Kernel::String& path : paths) {
        Kernel::String failure;
        m_sessions.push_back(TryOpen(path, ep, abort, failure));
        if (m_failure.empty()) {
            m_failure = std::move(failure);
        }
    }
}

Model::Model(const Model& other) = default;
Model& Model::operator=(const Model& other) = default;
Model::~Model() = default;

bool Model::Execute(TensorMap inputs, TensorMap& outputs) {
    return PlatformExecute(0, std::move(inputs), outputs);
}

bool Model::IsValid() const noexcept {
    return std::ranges::none_of(m_sessions, [](const auto& session) { return !session; });
}

Device Model::GetDevice() const {
    return Ask(FindSession(0), &ModelSession::FindDevice);
}

std::optional<ModelInfo> Model::GetInfo() const {
    return Ask(FindSession(0), &ModelSession::ReadInfo);
}

RunCost Model::GetRunCost() const {
    return Ask(FindSession(0), &ModelSession::MeasureCost);
}

ModelSession* Model::FindSession(int session) const noexcept {
    const bool isThere = session >= 0 && static_cast<std::size_t>(session) < m_sessions.size();
    return isThere ? m_sessions[static_cast<std::size_t>(session)].Get() : nullptr;
}

RunResult Model::Execute(const TensorMap& inputs, TensorMap& outputs, const RunOptions& options) {
    return Run(0, inputs, outputs, options);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): as derived models of hosts call it
bool Model::PlatformExecute(int session, TensorMap inputs, TensorMap& outputs) {
    return Run(session, inputs, outputs, {}) == RunResult::Done;
}

RunResult Model::Run(int session, const TensorMap& inputs, const TensorMap& outputs,
                     const RunOptions& options) {
    const auto isUnusable = [](const TensorMap::value_type& entry) {
        return !entry.second || !entry.second->m_platformTensor;
    };
    ModelSession* const target = FindSession(session);
    if (target == nullptr || std::ranges::any_of(inputs, isUnusable) ||
        std::ranges::any_of(outputs, isUnusable)) {
        return RunResult::Failed;
    }
    try {
        Ort::IoBinding binding(target->GetSession());
        for (const auto& [name, tensor] : inputs) {
            binding.BindInput(ToRuntimeText(name), tensor->m_platformTensor->GetValue());
        }
        for (const auto& [name, tensor] : outputs) {
            binding.BindOutput(ToRuntimeText(name), tensor->m_platformTensor->GetValue());
        }
        const RunGate::Pass pass(target->GetGate(), options.abort);
        if (!pass.IsIn()) {
            return RunResult::Cancelled;
        }
        Ort::RunOptions runOptions;
        if (options.releasesMemory) {
            runOptions.AddConfigEntry(ShrinkageEntry, "cpu:0");
        }
        if (!options.writesToStandardError) {
            runOptions.SetRunLogSeverityLevel(ORT_LOGGING_LEVEL_FATAL);
        }
        const AbortWatch watch(options.abort, [&runOptions] { runOptions.SetTerminate(); });
        target->Run(runOptions, binding);
        CopyPassedThrough(inputs, outputs);
        return RunResult::Done;
    } catch (const Ort::Exception& error) {
        if (Kernel::IsSet(options.abort)) {
            return RunResult::Cancelled;
        }
        LogRuntimeError(error);
    } catch (...) {
        // Execute() promises an answer, and a log line only for what the runtime says.
    }
    return RunResult::Failed;
}

}  // namespace Learning
