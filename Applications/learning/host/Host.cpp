#include "host/Host.h"

#include "Kernel/CriticalSection.h"
#include "Kernel/Environment.h"
#include "Kernel/FileSystem.h"
#include "Kernel/Utf.h"

#include "failures/Failure.h"
#include "files/Paths.h"
#include "files/Pipes.h"
#include "networks/ModelNames.h"
#include "terminal/ShellWords.h"

#include <algorithm>
#include <optional>
#include <ostream>

namespace LearningApp {

/// Keeps the first and the last line of the log, for the reason of a failure.
class LogMemory : public Kernel::DiagnosticSink {
public:
    /// `next`, which may be null, gets all lines, too.
    explicit LogMemory(Kernel::Counted<Kernel::DiagnosticSink> next) : m_next(std::move(next)) {}

    void Write(std::string_view text) override {
        if (m_next) {
            m_next->Write(text);
        }
        const std::size_t end = text.find_last_not_of("\r\n");
        if (end != std::string_view::npos) {
            const Kernel::ScopedLock lock(m_lock);
            m_last = text.substr(0, end + 1);
            if (m_first.empty()) {
                m_first = m_last;
            }
        }
    }

    void Clear() {
        const Kernel::ScopedLock lock(m_lock);
        m_first.clear();
        m_last.clear();
    }

    /// The first and the last line, or that which is both.
    std::string GetLines() {
        const Kernel::ScopedLock lock(m_lock);
        return m_first == m_last ? m_first : m_first + "; " + m_last;
    }

    /// ": " and the last line, or nothing if there is none.
    std::string GetReason() {
        const Kernel::ScopedLock lock(m_lock);
        return m_last.empty() ? "" : ": " + m_last;
    }

private:
    const Kernel::Counted<Kernel::DiagnosticSink> m_next;
    Kernel::CriticalSection m_lock;
    std::string m_first;
    std::string m_last;
};

namespace {

using Learning::ModelCache;

/// Shows each message as a line.
class StreamSink : public Kernel::DiagnosticSink {
public:
    explicit StreamSink(std::ostream& stream) : m_stream(stream) {}
    void Write(std::string_view text) override {
        const std::string_view line = text.substr(0, text.find_last_not_of("\r\n") + 1);
        m_stream << Kernel::MakePrintableLines(std::string(line)).c_str() << std::endl;
    }

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
    if (const auto cache = Kernel::FileSystem::GetUserCacheFolder()) {
        return std::string(std::string_view(*cache)) + "/orvantis/models";
    }
    throw Failure("there is no folder of networks: name one with --models");
}

/// `settings` with what is empty filled in.
Settings Complete(Settings settings) {
    settings.models = FindModelFolder(settings.models);
    while (!settings.models.empty() && IsSeparator(settings.models.back())) {
        settings.models.pop_back();
    }
    if (settings.server.empty()) {
        settings.server = GetVariable("ORVANTIS_SERVER");
    }
    return settings;
}

/// The options by which another command meets the same networks.
std::string RepeatOptions(const Settings& settings) {
    using Mode = ModelCache::InferenceMode;
    const char* const mode = settings.mode == Mode::MaxPerformance  ? " --mode performance"
                             : settings.mode == Mode::MaxEfficiency ? " --mode efficiency"
                                                                    : "";
    return (settings.models.empty() ? "" : " --models " + QuoteForShell(settings.models)) + mode;
}

}  // namespace

Network::Network(const Host& host, Kernel::Counted<Learning::Model> model, std::string path)
    : m_host(&host), m_model(std::move(model)), m_path(std::move(path)) {}

void Network::Run(const Learning::Model::TensorMap& inputs,
                  Learning::Model::TensorMap outputs) const {
    const auto run = [&] {
        return m_model->Execute(inputs, outputs, {.writesToStandardError = false});
    };
    if (m_host->Time(Phase::Run, run) != Learning::RunResult::Done) {
        throw Failure("the network %1 does not run%2", m_path, m_host->GetLoggedReason());
    }
    if (m_host->GetSettings().isTimed) {
        m_host->GetStopwatch().NoteMemory(m_model->GetRunCost().peakMemory);
    }
}

Learning::ModelInfo Network::GetInfo() const {
    if (std::optional<Learning::ModelInfo> info = m_model->GetInfo()) {
        return *std::move(info);
    }
    throw Failure("the network %1 does not tell what it takes%2", m_path,
                  m_host->GetLoggedReason());
}

Host::Host(const Settings& settings, const Console& console)
    : m_settings(Complete(settings)),
      m_console(console),
      m_repeated(RepeatOptions(settings)),
      m_spinner(GetTerminal()) {
    ModelCache& cache = ModelCache::GetInstance();
    cache.Shutdown();  // what an earlier command has loaded may be another folder's
    if (m_settings.isVerbose) {
        m_verbose = Kernel::MakeCounted<StreamSink>(console.err);
    }
    m_log = Kernel::MakeCounted<LogMemory>(m_verbose);
    m_previousLog = Kernel::Log::SetSink(m_log);
    m_previousTrace = Kernel::Trace::SetSink(m_verbose);
    cache.SetModelCacheFolder(m_settings.models);
    cache.SetInferenceMode(m_settings.mode);
}

Host::~Host() {
    Kernel::Trace::SetSink(m_previousTrace);
    Kernel::Log::SetSink(m_previousLog);
}

void Host::Finish() const {
    const Spinner::Pause pause(m_spinner);
    (m_isOutTaken ? m_console.err : m_console.out)
        << Kernel::MakePrintableLines(m_printed.str()).c_str();
    if (m_settings.isTimed) {
        m_stopwatch.Print(m_console.err);
    }
}

Network Host::GetNetwork(ModelType type) const {
    ModelCache& cache = ModelCache::GetInstance();
    const std::string path(std::string_view(cache.ModelTypeToModelPaths(type).front()));
    if (!cache.IsModelAvailable(type)) {
        throw NetworkUnavailable(
            "a network is not installed: there is no file %1\n"
            "To get it: %2\n"
            "If it is elsewhere, name its folder with --models.",
            path, DescribeDownload(type));
    }
    auto model = Time(Phase::Open, [&] { return cache.GetModel(type); });
    if (!model) {
        throw NetworkUnavailable("cannot load the network %1: %2\nTo get it anew: %3", path,
                                 cache.GetOutcome(type).reason, DescribeDownload(type));
    }
    return MakeNetwork(std::move(model), path);
}

Network Host::OpenNetwork(const std::string& path) const {
    if (!Kernel::FileSystem::Exists(path)) {
        throw Failure("there is no network %1", path);
    }
    auto model = Time(Phase::Open, [&] {
        return Kernel::MakeCounted<Learning::Model>(std::vector<Kernel::String>{path},
                                                    ModelCache::GetInstance().GetEP());
    });
    if (!model->IsValid()) {
        throw Failure("cannot load the network %1: %2", path, model->GetFailure());
    }
    return MakeNetwork(std::move(model), path);
}

Network Host::MakeNetwork(Kernel::Counted<Learning::Model> model, const std::string& path) const {
    CheckDevice(*model, path);
    if (m_settings.isVerbose) {
        Kernel::Trace::Write("Opened %1, which runs by %2\n", path, model->GetDevice().provider);
    }
    return {*this, std::move(model), path};
}

ProgressBar Host::StartProgress(const char* label, int total) const {
    return {m_spinner, GetTerminal(), label, total};
}

CallProgress Host::StartCall(const char* label) const {
    return {m_spinner, GetTerminal(), label};
}

DownloadProgress Host::StartDownload(const char* name) const {
    std::ostream& stream = m_settings.isQuiet ? m_nowhere : m_console.err;
    if (!m_console.isTerminal) {
        ShowLine(stream, Kernel::Format("downloading %1", name));
    }
    return {m_spinner, stream, m_console.isTerminal, name};
}

void Host::SayWritten(const std::string& path, std::string_view more) const {
    m_isOutTaken = m_isOutTaken || IsPipe(path);  // whose other name may be /dev/stdout
    Say("wrote %1%2", IsStandardStream(path) ? "to the standard output" : path, more);
}

void Host::Complain(std::string_view text, std::string_view cure) const {
    ShowLine(m_console.err, Kernel::Format("learning: %1", text), cure);
}

void Host::CheckDevice(const Learning::Model& model, const std::string& path) const {
    if (m_settings.mode != ModelCache::InferenceMode::CPU &&
        model.GetDevice().kind == Learning::Device::Kind::CPU &&
        m_toldDevices.insert(path).second) {
        Complain(Kernel::Format("%1 runs on the CPU", path));
    }
}

void Host::ClearLog() const {
    m_log->Clear();
}

std::string Host::GetLog() const {
    return m_log->GetLines();
}

std::string Host::GetLoggedReason() const {
    return m_log->GetReason();
}

std::ostream& Host::GetTalk() const {
    return m_settings.isQuiet ? m_nowhere : m_isOutTaken ? m_console.err : m_console.out;
}

std::ostream* Host::GetTerminal() const {
    const bool isUsed = m_console.isTerminal && !m_settings.isQuiet && !m_settings.isVerbose;
    return isUsed ? &m_console.err : nullptr;
}

void Host::ShowLine(std::ostream& stream, const Kernel::String& line, std::string_view more) const {
    const Spinner::Pause pause(m_spinner);
    stream << Kernel::MakePrintable(line).c_str() << Kernel::MakePrintableLines(more).c_str()
           << std::endl;
}

std::string Host::DescribeDownload(ModelType type) const {
    const auto* const named = std::ranges::find(NamedTypes, type, &NamedType::type);
    const char* const server = m_settings.server.empty() ? " --server http://127.0.0.1:8080/" : "";
    return "learning" + m_repeated + server + " download " + named->name;
}

}  // namespace LearningApp
