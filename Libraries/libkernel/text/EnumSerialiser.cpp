#include "Kernel/EnumSerialiser.h"

#include "Kernel/Format.h"

#include <algorithm>

namespace Kernel {

EnumSerialiser::~EnumSerialiser() = default;

void EnumSerialiser::RegisterEnumSet(std::span<const Entry> entries) {
    m_entries.insert(m_entries.end(), entries.begin(), entries.end());
}

String EnumSerialiser::ToText(std::int64_t value) const {
    const Entry* const entry = Find(value);
    return entry != nullptr && entry->name != nullptr ? String(entry->name) : Format("%1", value);
}

std::optional<std::int64_t> EnumSerialiser::FromText(std::string_view text) const {
    for (const Entry& entry : m_entries) {
        if (text == ToText(entry.value)) {
            return entry.value;
        }
    }
    return std::nullopt;
}

const EnumSerialiser::Entry* EnumSerialiser::Find(std::int64_t value) const noexcept {
    const auto found = std::ranges::find(m_entries, value, &Entry::value);
    return found != m_entries.end() ? &*found : nullptr;
}

}  // namespace Kernel
