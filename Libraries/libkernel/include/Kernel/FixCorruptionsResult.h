// What a check of an object for damage found.

#pragma once

namespace Kernel {

enum class FixCorruptionsResult {
    NotChecked = 0,
    Sound = 1,
    Repaired = 2,
    Damaged = 3,
};

}  // namespace Kernel
