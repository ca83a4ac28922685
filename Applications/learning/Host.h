// The inference library as this program sets it up and uses it.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/Diagnostics.h"
#include "Learning/Model.h"

#include "Networks.h"
#include "ProgressBar.h"

#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

namespace LearningApp {

class LastLine;

struct Settings {
    std::string models;  // folder of the networks; empty: the default one
    Learning::ModelCache::InferenceMode mode = Learning::ModelCache::InferenceMode::CPU;
    bool isVerbose = false;
};

/// A loaded network and the file that it came from, for messages.
class Network {
public:
    Network(Kernel::Counted<Learning::Model> model, std::string path,
            Kernel::Counted<LastLine> lastLine);
    ~Network();
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

    /// Throws Failure with the runtime's own words if it refuses.
    void Run(const Learning::Model::TensorMap& inputs, Learning::Model::TensorMap outputs) const;

private:
    Kernel::Counted<Learning::Model> m_model;
    std::string m_path;
    Kernel::Counted<LastLine> m_lastLine;
};

/// The process's settings for the time of one command; afterwards diagnostics go where they went
/// before, and no network is loaded.
class Host {
public:
    /// Throws Failure if no folder for the networks is named and none follows from the environment.
    Host(const Settings& settings, std::ostream& out, std::ostream& err, bool isTerminal);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// What the command has to say.
    std::ostream& GetOut() const noexcept { return m_out; }
    const std::string& GetModelFolder() const noexcept { return m_modelFolder; }

    /// Throws Failure, which says how to get it, if the network is not installed or can't be
    /// loaded.
    Network GetNetwork(ModelType type) const;
    /// The network in the file `path`, which need not be one that the library knows.
    Network OpenNetwork(const std::string& path) const;

    /// Shows only on a terminal.
    ProgressBar StartProgress(const char* label, int total) const;

private:
    std::ostream& m_out;
    std::ostream* m_terminal;  // null: none
    std::string m_modelFolder;
    Kernel::Counted<LastLine> m_lastLine;
    Kernel::Counted<Kernel::DiagnosticSink> m_previousLog;
    Kernel::Counted<Kernel::DiagnosticSink> m_previousTrace;
};

/// A new tensor, as the library's maps want it.
template <class... Arguments>
Kernel::Counted<Learning::Tensor> MakeTensor(std::vector<int> shape, Arguments&&... arguments) {
    return Kernel::MakeCounted<Learning::Tensor>(std::move(shape),
                                                 std::forward<Arguments>(arguments)...);
}

}  // namespace LearningApp
