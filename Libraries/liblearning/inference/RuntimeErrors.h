// Where failures of the inference runtime end: as one line in the log.

#pragma once

#include "inference/ONNXRuntime.h"

namespace Learning {

/// Writes the line that users and support look for, and flushes the log: the process may not live
/// long after such a failure.
void LogRuntimeError(const Ort::Exception& error) noexcept;

}  // namespace Learning
