// The texts by which the values of an enumeration are stored.

#pragma once

#include "Kernel/Export.h"
#include "Kernel/String.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace Kernel {

/// Turns the values of one enumeration into texts for files, and back. A subclass for each
/// enumeration registers its values while it is constructed.
///
/// Threads: any, once it is constructed.
class KERNEL_API EnumSerialiser {
public:
    /// A value and its name, a constant; a value without a name, which is null, is stored as a
    /// decimal number.
    struct Entry {
        std::int64_t value;
        const char* name;
    };

    virtual ~EnumSerialiser();

    bool Contains(std::int64_t value) const noexcept { return Find(value) != nullptr; }

    /// The name of `value`, or its decimal number, also for a value that is not registered.
    String ToText(std::int64_t value) const;

    /// The registered value that has exactly this text; nothing for any other text.
    std::optional<std::int64_t> FromText(std::string_view text) const;

    /// All registered values, in the order of their registration.
    std::span<const Entry> GetEntries() const noexcept { return m_entries; }

protected:
    EnumSerialiser() = default;

    /// Adds values, each of which is registered once.
    void RegisterEnumSet(std::span<const Entry> entries);

private:
    const Entry* Find(std::int64_t value) const noexcept;

    std::vector<Entry> m_entries;
};

}  // namespace Kernel
