#include "Learning/Model.h"

#include "inference/ModelSession.h"
#include "inference/ONNXTensor.h"
#include "inference/RuntimeErrors.h"

#include <algorithm>
#include <utility>

namespace Learning {

namespace {

/// The session of the file at `path`; null, with a line in the log and the reason in `failure`, if
/// the runtime can't open it.
Kernel::Counted<ModelSession> TryOpen(const Kernel::String& path, Model::EP ep,
                                      Kernel::String& failure) {
    try {
        return Kernel::MakeCounted<ModelSession>(path, ep);
    } catch (const Ort::Exception& error) {
        LogRuntimeError(error);
        failure = error.what();
        return nullptr;
    }
}

}  // namespace

Model::Model(const std::vector<Kernel::String>& paths, EP ep) {
    m_sessions.reserve(paths.size());
    for (const Kernel::String& path : paths) {
        Kernel::String failure;
        m_sessions.push_back(TryOpen(path, ep, failure));
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

bool Model::PlatformExecute(int session, TensorMap inputs, TensorMap& outputs) {
    const auto isUnusable = [](const TensorMap::value_type& entry) {
        return !entry.second || !entry.second->m_platformTensor;
    };
    if (session < 0 || static_cast<std::size_t>(session) >= m_sessions.size() ||
        !m_sessions[static_cast<std::size_t>(session)] || std::ranges::any_of(inputs, isUnusable) ||
        std::ranges::any_of(outputs, isUnusable)) {
        return false;
    }
    try {
        Ort::Session& target = m_sessions[static_cast<std::size_t>(session)]->GetSession();
        Ort::IoBinding binding(target);
        for (const auto& [name, tensor] : inputs) {
            binding.BindInput(ToRuntimeText(name), tensor->m_platformTensor->GetValue());
        }
        for (const auto& [name, tensor] : outputs) {
            binding.BindOutput(ToRuntimeText(name), tensor->m_platformTensor->GetValue());
        }
        target.Run(Ort::RunOptions(), binding);
        return true;
    } catch (const Ort::Exception& error) {
        LogRuntimeError(error);
    } catch (...) {
        // Execute() promises an answer, and a log line only for what the runtime says.
    }
    return false;
}

}  // namespace Learning
