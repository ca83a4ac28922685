// SIGINT (Ctrl-C), SIGTERM and SIGHUP; on Windows Ctrl-C, Ctrl-Break, and the end of the console or
// of the session.

#pragma once

#include "Kernel/AbortFlag.h"

#include <memory>

namespace LearningApp {

/// Lets Ctrl-C, SIGTERM and the end of the terminal end the process at once, with exit code 130 and
/// a line that says so. For work that leaves nothing behind when it is broken off. Where there are
/// limits on the size of files (SIGXFSZ), they end nothing any more.
void EndWhenInterrupted() noexcept;

/// For work that has to end in order: for as long as this object lives, the first of these signals
/// asks for an end, and the second ends the process. One that came too late for Check() to throw
/// has its former effect when this object dies. One object at a time. Windows gives a program that
/// is closed some seconds for that.
class Interruption {
public:
    Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption();

    /// Is set once the end has been asked for. For any thread.
    Kernel::AbortFlag GetFlag() const noexcept;
    /// Throws Interrupted if the end has been asked for.
    void Check() const;

private:
    struct Previous;
    std::unique_ptr<Previous> m_previous;
    mutable bool m_hasThrown = false;
};

}  // namespace LearningApp
