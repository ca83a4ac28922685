// Process-wide objects that outlive everything.

#pragma once

#include <utility>

namespace Kernel {

/// Holds an object whose destructor never runs. As a function's static variable, it can be used as
/// long as the process lives: by background threads while it exits, and by the destructors of
/// other statics.
template <class T>
class NeverDestroyed {
public:
    template <class... Arguments>
    explicit NeverDestroyed(Arguments&&... arguments)
        : value(std::forward<Arguments>(arguments)...) {}
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;
    ~NeverDestroyed() {}  // a union leaves its member alone

    T& operator*() noexcept { return value; }
    T* operator->() noexcept { return &value; }

private:
    union {
        T value;
    };
};

}  // namespace Kernel
