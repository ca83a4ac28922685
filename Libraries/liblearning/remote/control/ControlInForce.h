// The controls that are in force for the calls of this thread.

#pragma once

#include "Learning/RemoteControl.h"
#include "Learning/RemoteRequest.h"

#include <chrono>

namespace Learning {

/// What an operation asks of the controls of its thread. To be used on that thread.
class ControlInForce {
public:
    /// Is set when the operation is to end; null if there is no control. For any thread while the
    /// operation lasts.
    static Kernel::AbortFlag GetFlag() noexcept;

    /// Waits for `duration`. Throws Kernel::Aborted as soon as the operation is to end.
    static void Wait(std::chrono::milliseconds duration);

    /// Tells the controls, from the innermost to the outermost, unless the operation is to end
    /// and it is not about the acceptance of a job.
    static void Tell(const RemotePhase& phase) noexcept;

    /// Asks the controls, from the innermost to the outermost, whether `request` may be sent.
    /// Throws Kernel::Aborted if not.
    static void Ask(const RemoteRequest& request);

private:
    /// What `ask` returns, or false if it throws, which is logged.
    template <class Question>
    static bool Try(const Question& ask) noexcept;
};

}  // namespace Learning
