// Whole text files.

#pragma once

#include <cstddef>
#include <string>

namespace Service {

/// The content of the file at `path`. Throws Kernel::IoException if it can't be read, is no regular
/// file, or has more than `maxSize` bytes.
std::string ReadTextFile(const std::string& path, std::size_t maxSize);

}  // namespace Service
