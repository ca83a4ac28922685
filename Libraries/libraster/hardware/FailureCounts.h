// How often kernels were declined or failed, device by device.

#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace Raster {

/// Counts by device handle, null included, without a lock: this is called for every run on the
/// host. Devices beyond the first sixteen are not counted.
///
/// Threads: any.
class FailureCounts {
public:
    void Increment(void* device) noexcept;
    std::uint64_t Get(void* device) const noexcept;

private:
    struct Entry {
        std::atomic<void*> device = nullptr;
        std::atomic<std::uint64_t> count = 0;
    };

    std::array<Entry, 17> m_entries;  // the first is that of null
};

}  // namespace Raster
