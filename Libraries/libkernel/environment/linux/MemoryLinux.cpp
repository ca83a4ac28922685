#include "Kernel/Memory.h"

#include <malloc.h>

namespace Kernel {

void ReturnFreeMemory() noexcept {
    malloc_trim(0);
}

}  // namespace Kernel
