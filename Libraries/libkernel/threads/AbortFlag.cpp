#include "Kernel/AbortFlag.h"

namespace Kernel {

Aborted::~Aborted() = default;

const char* Aborted::what() const noexcept {
    return "the operation was aborted";
}

void ThrowIfAborted(AbortFlag abort) {
    if (abort != nullptr && abort->load(std::memory_order_relaxed)) {
        throw Aborted();
    }
}

}  // namespace Kernel
