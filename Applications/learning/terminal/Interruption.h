// SIGINT (Ctrl-C) and SIGTERM, for work that has to end in order.

#pragma once

#include "Kernel/AbortFlag.h"

#include <memory>

namespace LearningApp {

/// For as long as this object lives, the first Ctrl-C asks for an end, and the second ends the
/// process; so does SIGTERM. One object at a time.
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
};

}  // namespace LearningApp
