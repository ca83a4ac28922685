// The settings of the inference library for one command, and the console.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/Diagnostics.h"
#include "Kernel/Format.h"
#include "Learning/Model.h"

#include "host/Stopwatch.h"
#include "networks/Networks.h"
#include "terminal/CallProgress.h"
#include "terminal/DownloadProgress.h"
#include "terminal/ProgressBar.h"
#include "terminal/Spinner.h"

#include <iosfwd>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace LearningApp {

class LogMemory;

struct Settings {
    std::string models;  // folder of the networks; empty: the default one
    Learning::ModelCache::InferenceMode mode = Learning::ModelCache::InferenceMode::CPU;
    bool isVerbose = false;
    bool isQuiet = false;     // shows nothing but results and failures
    bool isTimed = false;     // shows how long each phase takes
    std::string server;       // where packages come from; empty: $ORVANTIS_SERVER
    std::string certificate;  // PEM file of the authority to trust; empty: the system's
};

/// Where a program talks to its user.
struct Console {
    std::ostream& out;
    std::ostream& err;
    bool isTerminal;  // whether `err` can show a line that changes
};

class Host;

/// A loaded network and the file that it came from, for messages.
class Network {
public:
    Network(const Host& host, Kernel::Counted<Learning::Model> model, std::string path);

    /// Throws Failure with the runtime's own words if it refuses.
    void Run(const Learning::Model::TensorMap& inputs, Learning::Model::TensorMap outputs) const;

    /// What the network says of itself. Throws Failure if the runtime does not tell.
    Learning::ModelInfo GetInfo() const;
    Learning::Device GetDevice() const { return m_model->GetDevice(); }
    const std::string& GetPath() const noexcept { return m_path; }

private:
    const Host* m_host;
    Kernel::Counted<Learning::Model> m_model;
    std::string m_path;
};

/// The process's settings for the time of one command; afterwards diagnostics go where they went
/// before. Begins without loaded networks. Those that it loads stay: in the end the process ends
/// with them, faster than they could be closed one by one.
class Host {
public:
    /// What is empty in `settings` follows from the environment. Throws Failure if a folder for the
    /// networks does not.
    Host(const Settings& settings, const Console& console);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// Takes the text that the command is to print. Held back until Finish(), so that a command
    /// that fails has printed nothing but its reason.
    std::ostream& GetOut() const noexcept { return m_printed; }
    /// Tells at once how the work goes on, unless the user wants it quiet. Placeholders as for
    /// Kernel::Format().
    template <class... Arguments>
    void Say(std::string_view pattern, const Arguments&... arguments) const {
        ShowLine(GetTalk(), Kernel::Format(pattern, arguments...));
    }
    /// Says that the result `path` is written, and `more` about it. If it has gone into a pipe,
    /// which may be the standard output, then all is said on the standard error stream from now on.
    void SayWritten(const std::string& path, std::string_view more = {}) const;
    /// Tells of failures after which the command goes on. `cure`: further lines, each after a line
    /// feed.
    void Complain(std::string_view text, std::string_view cure = {}) const;
    /// Shows what was printed and, if the user wants to know, how long the phases of the command
    /// took.
    void Finish() const;

    const Settings& GetSettings() const noexcept { return m_settings; }
    /// Without a separator at its end, since the model cache appends one.
    const std::string& GetModelFolder() const noexcept { return m_settings.models; }

    /// Throws NetworkUnavailable, which says how to get it, if the network is not installed or
    /// can't be loaded.
    Network GetNetwork(ModelType type) const;
    /// The network in the file `path`, which need not be one that the library knows.
    Network OpenNetwork(const std::string& path) const;

    /// What the time and the memory of the command are noted in.
    Stopwatch& GetStopwatch() const noexcept { return m_stopwatch; }
    /// Calls `work`, which is all or part of `phase`, and returns what it returns.
    template <class Work>
    auto Time(Phase phase, const Work& work) const {
        const Spinner::Step step(m_spinner, DescribePhase(phase));
        return m_stopwatch.Time(phase, work);
    }

    /// Puts `subject` before the signs of life that a long step shows from now on.
    void SetSubject(std::string subject) const { m_spinner.SetSubject(std::move(subject)); }
    /// Shows only on a terminal.
    ProgressBar StartProgress(const char* label, int total) const;
    /// Shows that the download of a network begins, and how far it is.
    DownloadProgress StartDownload(const char* name) const;
    /// Shows only on a terminal.
    CallProgress StartCall(const char* label) const;

    /// Forgets what the library has logged so far.
    void ClearLog() const;
    /// The first and the last line that the library has logged since: usually the cause and its
    /// effect. Empty if there is none.
    std::string GetLog() const;
    /// ": " and the last line of the log, or nothing if there is none.
    std::string GetLoggedReason() const;

private:
    Network MakeNetwork(Kernel::Counted<Learning::Model> model, const std::string& path) const;
    /// Says so if the user has asked for another device than the CPU, and the network runs on that.
    void CheckDevice(const Learning::Model& model, const std::string& path) const;
    /// Where the user is told how the work goes on.
    std::ostream& GetTalk() const;
    /// The terminal, unless nothing is to be shown there but lines that stay.
    std::ostream* GetTerminal() const;
    /// Shows the line and then `more`, which keeps its line feeds.
    void ShowLine(std::ostream& stream, const Kernel::String& line,
                  std::string_view more = {}) const;
    /// How to get a network that is not installed.
    std::string DescribeDownload(ModelType type) const;

    Settings m_settings;
    Console m_console;
    mutable std::ostringstream m_printed;
    mutable std::ostream m_nowhere{nullptr};
    mutable bool m_isOutTaken = false;            // by a result
    mutable std::set<std::string> m_toldDevices;  // of networks that were complained of
    std::string m_repeated;  // the options that a command like this one needs as well
    Kernel::Counted<Kernel::DiagnosticSink> m_verbose;  // null: all is kept silent
    Kernel::Counted<LogMemory> m_log;
    Kernel::Counted<Kernel::DiagnosticSink> m_previousLog;
    Kernel::Counted<Kernel::DiagnosticSink> m_previousTrace;
    mutable Stopwatch m_stopwatch;
    mutable Spinner m_spinner;
};

/// A new tensor, as the library's maps want it.
template <class... Arguments>
Kernel::Counted<Learning::Tensor> MakeTensor(std::vector<int> shape, Arguments&&... arguments) {
    return Kernel::MakeCounted<Learning::Tensor>(std::move(shape),
                                                 std::forward<Arguments>(arguments)...);
}

}  // namespace LearningApp
