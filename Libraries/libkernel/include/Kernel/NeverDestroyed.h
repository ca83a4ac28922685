// Process-wide objects whose destructors never run.

#pragma once

#include <utility>

namespace Kernel {

/// Holds an object whose destructor never runs. As a static variable of a function it stays usable
/// until the process ends: for background threads during exit and for destructors of other statics.
template <class T>
class NeverDestroyed {
public:
    template <class... Arguments>
    explicit NeverDestroyed(Arguments&&... arguments)
        : value(std::forward<Arguments>(arguments)...) {}
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;
    ~NeverDestroyed() {}  // a union does not destroy its member

    T& operator*() noexcept { return value; }
    T* operator->() noexcept { return &value; }

private:
    union {
        T value;
    };
};

}  // namespace Kernel
