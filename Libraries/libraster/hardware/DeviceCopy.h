// The copy of a bitmap's pixels on a device, and the stale rectangles of the two copies.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/CriticalSection.h"
#include "Raster/PixelView.h"

#include <cstdint>

namespace Raster {

class Device;
class DeviceImage;

/// Synchronises the host's pixels with their copy on a device. At any moment at most one of them is
/// stale: a copy is brought up to date before it is written. One rectangle for each side suffices,
/// since a transfer always moves the whole of it.
///
/// Threads: any; but the pixels have one writer at a time.
class DeviceCopy {
public:
    DeviceCopy() noexcept;
    DeviceCopy(const DeviceCopy&) = delete;
    DeviceCopy& operator=(const DeviceCopy&) = delete;
    ~DeviceCopy();

    /// The device that holds the copy; null if there is none.
    void* GetDevice() const noexcept;
    std::uintptr_t GetQueue() const noexcept;
    /// The copy on `device`, made or moved there if need be, with a reference for the caller; null
    /// if there can be none.
    void* Retain(void* device, const PixelView& host);
    /// Waits until the queue of the device is finished.
    void Finish() const noexcept;
    /// Brings the host up to date and drops the copy.
    void Drop(const PixelView& host) noexcept;

    /// Bring one side up to date. `overwritten`: the rectangle that the caller writes next on that
    /// side; if it contains the stale one, nothing is transferred.
    void Download(const PixelView& host, const Rect& overwritten) noexcept;
    [[nodiscard]] bool Upload(void* device, const PixelView& host, const Rect& overwritten);

    /// Mark the other side stale in `rect`, which was written on this one.
    void HostHasChanged(const Rect& rect) noexcept;
    void DeviceHasChanged(const Rect& rect) noexcept;

private:
    bool MakeImage(Device& device, const PixelView& host);
    void MoveToHost(const PixelView& host) noexcept;
    void Leave(const PixelView& host) noexcept;

    mutable Kernel::CriticalSection m_section;
    Kernel::Counted<DeviceImage> m_image;
    Rect m_staleOnHost;
    Rect m_staleOnDevice;
};

}  // namespace Raster
