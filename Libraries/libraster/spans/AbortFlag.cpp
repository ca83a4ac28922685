#include "Raster/AbortFlag.h"

#include <atomic>

namespace Raster {

bool IsAborted(const bool* abort) noexcept {
    // Only read, but std::atomic_ref of C++20 takes no const objects.
    return abort != nullptr &&
           std::atomic_ref(*const_cast<bool*>(abort)).load(std::memory_order_relaxed);
}

}  // namespace Raster
