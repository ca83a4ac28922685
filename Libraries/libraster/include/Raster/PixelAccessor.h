// Access to the pixels of a bitmap outside a pipeline.

#pragma once

#include "Raster/DynamicBitmap.h"

namespace Raster {

/// Read access to the pixels of a bitmap, which are brought up to date first and must not change
/// during the access. A pending load is performed first and blocks, with a line in the trace.
class RASTER_API ConstPixelAccessor {
public:
    /// The load ends early when `abort` is set; the pixels may then be transparent.
    explicit ConstPixelAccessor(const DynamicBitmap& bitmap, bool* abort = nullptr);

    const ConstPixelView& GetView() const noexcept { return m_view; }

private:
    ConstPixelView m_view;
};

/// Read and write access to the pixels of a bitmap; the destructor marks its device copy stale. A
/// pending load is performed first.
class RASTER_API PixelAccessor {
public:
    /// The load ends early when `abort` is set; it then stays pending, and overwrites later what is
    /// written here.
    explicit PixelAccessor(DynamicBitmap& bitmap, bool* abort = nullptr);
    PixelAccessor(const PixelAccessor&) = delete;
    PixelAccessor& operator=(const PixelAccessor&) = delete;
    ~PixelAccessor();

    const PixelView& GetView() const noexcept { return m_view; }

private:
    DynamicBitmap& m_bitmap;
    PixelView m_view;
};

}  // namespace Raster
