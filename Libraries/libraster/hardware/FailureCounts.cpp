#include "hardware/FailureCounts.h"

namespace Raster {

void FailureCounts::Increment(void* device) noexcept {
    for (Entry& entry : m_entries) {
        void* owner = entry.device.load(std::memory_order_relaxed);
        // Claims a free entry; if another thread was faster, `owner` becomes that thread's device.
        if (owner == nullptr && &entry != &m_entries.front() &&
            entry.device.compare_exchange_strong(owner, device, std::memory_order_relaxed)) {
            owner = device;
        }
        if (owner == device) {
            entry.count.fetch_add(1, std::memory_order_relaxed);
            return;
        }
    }
}

std::uint64_t FailureCounts::Get(void* device) const noexcept {
    for (const Entry& entry : m_entries) {
        if (entry.device.load(std::memory_order_relaxed) == device) {
            return entry.count.load(std::memory_order_relaxed);
        }
    }
    return 0;
}

}  // namespace Raster
