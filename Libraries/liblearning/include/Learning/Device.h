// The devices that models run on.

#pragma once

#include "Kernel/String.h"

#include <cstdint>

namespace Learning {

struct Device {
    enum class Kind : std::uint32_t {
        Unknown = 0,  // the runtime does not tell
        CPU = 1,
        GPU = 2,
        NPU = 3,
    };

    Kind kind = Kind::Unknown;
    /// The execution provider, as the runtime names it: "CPUExecutionProvider". Empty if unknown.
    Kernel::String provider;
    /// The maker of the device, as the system names it. May be empty.
    Kernel::String vendor;
};

}  // namespace Learning
