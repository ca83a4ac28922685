// The end of a ZIP archive, which says where its central directory is.

#pragma once

#include "Kernel/Streams.h"

#include <cstdint>

namespace Kernel {

/// The size and place of the central directory.
struct EndRecord {
    std::uint64_t entryCount;
    std::uint64_t directorySize;  // in bytes
    std::uint64_t directoryStart;
};

/// Finds and reads the end of central directory record and, if the archive has them, those of Zip64
/// (APPNOTE.TXT 4.3.14 to 4.3.16). Throws IoException if there is none, if they contradict each
/// other, or if the directory can't be where they say.
EndRecord ReadEndRecord(SeekableInStream& stream);

}  // namespace Kernel
