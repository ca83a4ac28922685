// What can be read and written in order only: the standard streams, pipes and devices.

#pragma once

#include "Kernel/Streams.h"

#include <string>

namespace LearningApp {

/// Whether `path` means the standard input or output, which is "-".
bool IsStandardStream(const std::string& path);

/// Whether `path` means a standard stream, or a pipe or a device such as a terminal stands there,
/// links followed.
bool IsPipe(const std::string& path);

/// Opens what IsPipe() has found; "-" means std::cin. Waits for the other end of a pipe. Throws
/// WrongUse if the standard input is a terminal, whose user would wait as well, and
/// Kernel::IoException if the pipe can't be opened.
Kernel::Counted<Kernel::InStream> OpenPipe(const std::string& path);

/// The same for writing; "-" means std::cout. What was written has arrived after Flush().
Kernel::Counted<Kernel::OutStream> CreatePipe(const std::string& path);

/// Throws WrongUse if `path` means the standard output and that is a terminal, which takes text
/// only.
void CheckPipeTarget(const std::string& path);

}  // namespace LearningApp
