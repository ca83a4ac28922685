// The machine's accelerators, as the inference runtime learns of them.

#pragma once

#include "inference/RuntimeEnvironment.h"

namespace Learning {

/// Makes the machine's execution providers known to `environment`, so that the runtime can choose
/// among them; called before each model file is opened that may run on one, and never for one that
/// must run on the CPU. What is known already stays as it is.
///
/// Throws what the system throws, but never Ort::Exception: that would read as a model file that
/// can't be opened.
void RegisterExecutionProviders(RuntimeEnvironment& environment);

}  // namespace Learning
