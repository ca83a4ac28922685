// How many files and connections the system lets this process have.

#pragma once

#include <cstddef>

namespace Service {

/// Has the system allow `count` at a time; false if it allows fewer.
bool AllowOpenFiles(std::size_t count) noexcept;

}  // namespace Service
