// Shared values that are kept once: equal values are one object.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/CriticalSection.h"
#include "Kernel/NeverDestroyed.h"

#include <map>
#include <type_traits>
#include <utility>

namespace Kernel {

/// A pointer to a value of which the process keeps one copy, or null. Two of them are equal exactly
/// when their values have the same identity, so comparing costs as much as comparing pointers.
///
/// T is Countable, never changes, and has `GetIdentity()`, a value that can be ordered and is
/// equal for equal values. A value lives at least as long as a Consolidated points at it; those
/// that nobody holds any more go when the next one comes. The library of T instantiates this class,
/// so that all libraries share one table.
///
/// Threads: any.
template <class T>
class Consolidated {
public:
    Consolidated() noexcept = default;

    /// The value of that identity which is there already, else `value` itself. Null for null.
    explicit Consolidated(const Counted<T>& value) : m_value(value ? Find(value) : nullptr) {}

    const T* Get() const noexcept { return m_value.Get(); }
    const T& operator*() const noexcept { return *m_value; }
    const T* operator->() const noexcept { return m_value.Get(); }
    explicit operator bool() const noexcept { return static_cast<bool>(m_value); }

    friend bool operator==(const Consolidated&, const Consolidated&) noexcept = default;

private:
    struct Table {
        CriticalSection section;
        std::map<std::remove_cvref_t<decltype(std::declval<const T&>().GetIdentity())>,
                 Counted<const T>>
            values;
    };

    static Counted<const T> Find(const Counted<T>& value) {
        static NeverDestroyed<Table> shared;
        Table& table = *shared;
        const ScopedLock lock(table.section);
        // Only this table holds it, and only this function, under the lock, could hand it out
        // again.
        std::erase_if(table.values,
                      [](const auto& entry) { return entry.second->GetReferenceCount() == 1; });
        return table.values.try_emplace(value->GetIdentity(), value).first->second;
    }

    Counted<const T> m_value;
};

}  // namespace Kernel
