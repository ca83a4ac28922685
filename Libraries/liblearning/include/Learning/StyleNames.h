// The styles in which the inference service can make pictures.

#pragma once

#include "Kernel/String.h"
#include "Learning/Export.h"

#include <span>

namespace Learning {

/// For the user, in English, in the order of the enumerators of GenerationStyle.
LEARNING_API std::span<const Kernel::String> GetStyleNames();

/// The identifiers by which the service knows them, in the same order.
LEARNING_API std::span<const Kernel::String> GetStyleIds();

}  // namespace Learning
