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
        : m_value(std::forward<Arguments>(arguments)...) {}
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;
    ~NeverDestroyed() {}  // a union leaves its member alone

    T& operator*() noexcept { return m_value; }
    T* operator->() noexcept { return &m_value; }

private:
    union {
        T m_value;
    };
};

}  // namespace Kernel
