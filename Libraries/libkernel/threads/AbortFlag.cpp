#include "Kernel/AbortFlag.h"

namespace Kernel {

Aborted::~Aborted() = default;

const char* Aborted::what() const noexcept {
    return "the operation was aborted";
}

void ThrowIfAborted(AbortFlag abort) {
    if (IsSet(abort)) {
        throw Aborted();
    }
}

}  // namespace Kernel
