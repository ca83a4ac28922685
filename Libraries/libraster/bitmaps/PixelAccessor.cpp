#include "Raster/PixelAccessor.h"

#include "Kernel/Diagnostics.h"

namespace Raster {

ConstPixelAccessor::ConstPixelAccessor(const DynamicBitmap& bitmap, bool* abort)
    : m_view(bitmap.GetHostView()) {
    if (bitmap.IsPendingDelayLoad()) {
        Kernel::Trace::Write(
            "Bitmap<> is performing a blocking, abortable delay-load in response to a non-pipeline "
            "ConstPixelAccessor session - you should try to avoid this.\r\n");
        bitmap.ForceDelayLoad(abort);
    }
    bitmap.SyncHostCache(nullptr, false, abort);
}

PixelAccessor::PixelAccessor(DynamicBitmap& bitmap, bool* abort)
    : m_bitmap(bitmap), m_view(bitmap.GetHostView()) {
    bitmap.SyncHostCache(nullptr, false, abort);
}

PixelAccessor::~PixelAccessor() {
    m_bitmap.InvalidateHardwareCache(m_bitmap.GetBounds());
}

}  // namespace Raster
