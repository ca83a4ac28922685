// How far a remote operation is, by the clock.

#pragma once

#include "Learning/RemoteOptions.h"

#include <memory>

namespace Learning {

/// Reports the progress of an operation from a thread of its own, as long as this object lives: the
/// share of its expected duration that has passed, at most 1, every half a second; in the end, if
/// that is not over yet, 1 and then half a second for the user to see it. Nothing is reported after
/// the destructor, nor once the operation's controls have ended it.
class ProgressSession {
public:
    /// `expected` is in milliseconds. Reports nothing if `callback` or `context` is null. What the
    /// callback throws is logged, and ends the reports.
    ProgressSession(int expected, ProgressCallback callback, void* context) noexcept;
    ProgressSession(const ProgressSession&) = delete;
    ProgressSession& operator=(const ProgressSession&) = delete;
    ~ProgressSession();

private:
    class Reporter;

    std::shared_ptr<Reporter> m_reporter;  // the thread has it, too; null if there is none
};

}  // namespace Learning
