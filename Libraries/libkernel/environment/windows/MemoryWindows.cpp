#include "Kernel/Memory.h"

#include <malloc.h>

namespace Kernel {

void ReturnFreeMemory() noexcept {
    _heapmin();
}

}  // namespace Kernel
