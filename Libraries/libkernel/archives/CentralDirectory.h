// The central directory of a ZIP archive.

#pragma once

#include "Kernel/Streams.h"
#include "Kernel/String.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Kernel {

/// A directory that has been read whole.
struct CentralDirectory {
    std::uint64_t start;        // in the archive; the entries lie before it
    std::vector<String> names;  // of the entries, in order
    /// The same entries without names, comments and most extra fields, and end records of Zip64
    /// behind them: an archive may have this from `start` to its end.
    std::vector<std::byte> nameless;
};

/// Reads the directory of the archive in `stream`. Throws IoException if it is not of the size and
/// number of entries that the end of the archive declares, or larger than any honest one.
CentralDirectory ReadCentralDirectory(SeekableInStream& stream);

}  // namespace Kernel
