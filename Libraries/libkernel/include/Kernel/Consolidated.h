// Interning: equal values share one object.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/CriticalSection.h"
#include "Kernel/NeverDestroyed.h"

#include <map>
#include <type_traits>
#include <utility>

namespace Kernel {

/// A pointer to an interned value, or null: the process keeps one copy of each value. Two of them
/// are equal exactly when their values have the same identity, so a comparison is one of pointers.
///
/// T is Countable and immutable, and has `GetIdentity()`, a value that can be ordered and is equal
/// for equal values. A value lives at least as long as a Consolidated points at it; values without
/// references are deleted when the next one is interned. The library that defines T instantiates
/// and exports Find(), so that all libraries share one table; the rest is inline everywhere.
///
/// Threads: any.
template <class T>
class Consolidated {
public:
    Consolidated() noexcept = default;

    /// The interned value with the identity of `value`; `value` itself if there is none yet. Null
    /// for null.
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

    static Counted<const T> Find(const Counted<T>& value);

    Counted<const T> m_value;
};

template <class T>
Counted<const T> Consolidated<T>::Find(const Counted<T>& value) {
    static NeverDestroyed<Table> shared;
    Table& table = *shared;
    const ScopedLock lock(table.section);
    // A count of 1 is this table's reference; new ones are made here alone, under the lock.
    std::erase_if(table.values,
                  [](const auto& entry) { return entry.second->GetReferenceCount() == 1; });
    return table.values.try_emplace(value->GetIdentity(), value).first->second;
}

}  // namespace Kernel
