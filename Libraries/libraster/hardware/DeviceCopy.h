// The copy of a bitmap's pixels on a device, and which of the two copies is out of date where.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/CriticalSection.h"
#include "Raster/PixelView.h"

#include <cstdint>

namespace Raster {

class Device;
class DeviceImage;

/// Keeps the host's pixels and their copy on a device in step. At any moment at most one of them is
/// out of date: whoever writes to one brings it up to date first. Both sides need one rectangle
/// only, since a transfer always moves the whole of it.
///
/// Threads: any; but the pixels are for one writer at a time.
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
    /// Waits for what was sent to the device.
    void Finish() const noexcept;
    /// Brings the host up to date and drops the copy.
    void Drop(const PixelView& host) noexcept;

    /// Bring one side up to date. `overwritten`: what the caller writes next on that side; where
    /// that is all that is out of date, nothing is moved.
    void Download(const PixelView& host, const Rect& overwritten) noexcept;
    [[nodiscard]] bool Upload(void* device, const PixelView& host, const Rect& overwritten);

    /// Tell that one side was written.
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
