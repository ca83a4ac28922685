// The bytes of a stream in memory as text.

#pragma once

#include "Kernel/MemoryInOutStream.h"

#include <string>

namespace Support {

inline std::string GetText(const Kernel::MemoryInOutStream& memory) {
    const auto bytes = memory.GetBytes();
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace Support
