// The names of the styles in which the inference service can make pictures.

#pragma once

#include "Kernel/String.h"
#include "Learning/Export.h"

#include <span>

namespace Learning {

/// For the user, in English, in the order of the enumerators of GenerationStyle.
LEARNING_API std::span<const Kernel::String> GetStyleNames();

}  // namespace Learning
