// Pixels in the memory of a device.

#pragma once

#include "Kernel/Counted.h"
#include "Raster/PixelView.h"

#include "hardware/OpenCL.h"

namespace Raster {

class Device;

/// Rows of pixels on a device, with the host's stride. Transfers are blocking and throw
/// OpenCLError.
class DeviceImage : public Kernel::Countable {
public:
    /// An image like `layout`; its pixels are not set.
    DeviceImage(Device& device, const PixelView& layout);

    void Upload(const PixelView& host, const Rect& rect);
    void Download(const PixelView& host, const Rect& rect) const;

    Device& GetDevice() const noexcept { return m_device; }
    cl_mem GetMemory() const noexcept { return m_memory.Get(); }
    cl_long GetStride() const noexcept { return m_stride; }
    const Rect& GetBounds() const noexcept { return m_bounds; }

private:
    Device& m_device;
    cl_long m_stride;
    Rect m_bounds;
    OpenCLMemory m_memory;
};

}  // namespace Raster
