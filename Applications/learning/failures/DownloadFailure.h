// The causes of failed downloads, with messages and remedies for the user of the program.

#pragma once

#include "Learning/ModelOutcome.h"

#include "failures/Failure.h"

#include <string_view>

namespace LearningApp {

/// A network could not be downloaded.
class DownloadFailure : public Failure {
public:
    /// `name`: the network. `outcome`: what came of the download.
    DownloadFailure(std::string_view name, const Learning::ModelOutcome& outcome);

    /// What the user can do: a whole sentence, the same for failures with one cause.
    const char* GetCure() const noexcept { return m_cause.cure; }

private:
    struct Cause {
        Learning::ModelStatus status;
        const char* what;
        const char* cure;
    };
    static const Cause Causes[];
    static const Cause& FindCause(Learning::ModelStatus status);

    DownloadFailure(std::string_view name, std::string_view reason, const Cause& cause);

    const Cause& m_cause;
};

}  // namespace LearningApp
