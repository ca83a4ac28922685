// The styles in which the inference service can make pictures.

#pragma once

#include "Kernel/String.h"

#include <array>
#include <cstddef>

namespace Learning {

inline constexpr std::size_t StyleCount = 24;
using StyleTable = std::array<Kernel::String, StyleCount>;

/// The names for the user, some with odd spellings, which the service knows as well.
const StyleTable& StyleNameTable();

/// The service's identifiers (RFC 9562), in the order of the names.
const StyleTable& StyleIdTable();

}  // namespace Learning
