// Access to the pixels of a bitmap outside a pipeline.

#pragma once

#include "Raster/DynamicBitmap.h"

namespace Raster {

/// Reads the pixels of a bitmap, which are up to date from here on and must not change meanwhile.
/// A bitmap whose load is pending is loaded first, with a line in the trace: pipelines would have
/// known earlier.
class RASTER_API ConstPixelAccessor {
public:
    /// The load ends early when `abort` is set; the pixels may then be transparent.
    explicit ConstPixelAccessor(const DynamicBitmap& bitmap, bool* abort = nullptr);

    const ConstPixelView& GetView() const noexcept { return m_view; }

private:
    ConstPixelView m_view;
};

/// Reads and writes the pixels of a bitmap, and tells the bitmap when it is done. A pending load is
/// done first.
class RASTER_API PixelAccessor {
public:
    /// The load ends early when `abort` is set; it then comes later, over what is written here.
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
