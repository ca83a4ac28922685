// The causes of failed downloads, with messages and remedies for the user of the program.

#pragma once

#include "failures/Failure.h"

#include <string>
#include <string_view>

namespace LearningApp {

/// A network could not be downloaded.
class DownloadFailure : public Failure {
public:
    /// `name`: the network. `reason`: what the library's log says of it.
    DownloadFailure(std::string_view name, std::string_view reason);

    /// What the user can do: a whole sentence, the same for failures with one cause.
    const char* GetCure() const noexcept { return m_cause.cure; }

private:
    struct Cause {
        const char* sign;  // a part of the reason that tells the cause
        const char* what;
        const char* cure;
    };
    static const Cause Causes[];
    static const Cause& FindCause(std::string_view reason);

    DownloadFailure(std::string_view name, std::string_view reason, const Cause& cause);

    const Cause& m_cause;
};

}  // namespace LearningApp
