// The text of an answer to a question for help.

#pragma once

#include "Kernel/AbortFlag.h"
#include "Kernel/String.h"

#include <string_view>

namespace Learning {

/// Makes of the service's answer what is shown: line breaks that it has escaped become real, those
/// of several bytes become one, most runs of empty lines one empty line, and white space around all
/// of it goes. Deliberate: each replacement is a single pass from left to right, so long runs
/// are not shortened to the end. Throws Kernel::Aborted if `abort` is set meanwhile.
Kernel::String CleanHelpText(std::string_view answer, Kernel::AbortFlag abort = nullptr);

}  // namespace Learning
