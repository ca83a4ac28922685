// What can go wrong with a download, in words for whoever runs the program.

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

    /// What to do about it: a whole sentence, the same for failures of one kind.
    const char* GetCure() const noexcept { return m_cause.cure; }

private:
    struct Cause {
        const char* sign;  // what is found in the reason
        const char* what;
        const char* cure;
    };
    static const Cause Causes[];
    static const Cause& FindCause(std::string_view reason);

    DownloadFailure(std::string_view name, std::string_view reason, const Cause& cause);

    const Cause& m_cause;
};

}  // namespace LearningApp
