// The flag that ends a long operation early.

#pragma once

#include "Kernel/Export.h"

#include <atomic>
#include <exception>

namespace Kernel {

/// A flag that any thread may set to end an operation; null if nobody does.
using AbortFlag = const std::atomic<bool>*;

inline bool IsSet(AbortFlag flag) noexcept {
    return flag != nullptr && flag->load(std::memory_order_relaxed);
}

/// Thrown by an operation that its flag has ended.
class KERNEL_API Aborted : public std::exception {
public:
    ~Aborted() override;
    const char* what() const noexcept override;
};

/// Throws Aborted if the flag is set.
KERNEL_API void ThrowIfAborted(AbortFlag abort);

}  // namespace Kernel
