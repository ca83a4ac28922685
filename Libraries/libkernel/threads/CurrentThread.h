// What the system is told about the calling thread.

#pragma once

#include "Kernel/Dispatch.h"

namespace Kernel {

/// Names the calling thread after its purpose and sets its priority. A system that refuses is not
/// an error: both are wishes.
void SetUpCurrentThread(Dispatch::ThreadPurpose purpose, Dispatch::Priority priority) noexcept;

/// How many processors the calling thread may use, at least 1: a process may be confined to some.
unsigned CountProcessors() noexcept;

}  // namespace Kernel
