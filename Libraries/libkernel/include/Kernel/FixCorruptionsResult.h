// The result of a check for damaged data.

#pragma once

namespace Kernel {

enum class FixCorruptionsResult {
    NotChecked = 0,
    Sound = 1,
    Repaired = 2,
    Damaged = 3,
};

}  // namespace Kernel
