#include "Raster/AbortFlag.h"

#include <atomic>

namespace Raster {

bool IsAborted(const bool* abort) noexcept {
    // The reference reads only, but its type knows no constant objects.
    return abort != nullptr &&
           std::atomic_ref(*const_cast<bool*>(abort)).load(std::memory_order_relaxed);
}

}  // namespace Raster
