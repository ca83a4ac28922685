// Properties of the calling thread.

#pragma once

#include "Kernel/Dispatch.h"

namespace Kernel {

/// Names the calling thread after its purpose and sets its priority. Failures are ignored: both are
/// hints to the system.
void SetUpCurrentThread(Dispatch::ThreadPurpose purpose, Dispatch::Priority priority) noexcept;

/// The number of processors that the calling thread may use (its affinity mask), at least 1.
unsigned CountProcessors() noexcept;

}  // namespace Kernel
