// The device side of bitmaps.

#include "Raster/AbortFlag.h"
#include "Raster/DynamicBitmap.h"

#include "bitmaps/BitmapCaches.h"
#include "hardware/KernelText.h"

namespace Raster {

namespace {

/// The rectangle that the caller overwrites next; empty if none.
Rect GetOverwritten(const Rect* rect, bool willOverwrite, const Rect& bounds) noexcept {
    if (!willOverwrite) {
        return {};
    }
    return rect != nullptr ? *rect : bounds;
}

}  // namespace

void* DynamicBitmap::GetHardwareDevice() const noexcept {
    return m_caches->deviceCopy.GetDevice();
}

std::uintptr_t DynamicBitmap::GetHardwareWriteQueue() const noexcept {
    return m_caches->deviceCopy.GetQueue();
}

int DynamicBitmap::GetHardwareParams(const void* /*device*/, float* /*params*/) const noexcept {
    return 0;
}

const char* DynamicBitmap::GetSourceHardwareFragment(
    HardwareKernelLanguage language) const noexcept {
    return GetSourceAddressing(language);
}

const char* DynamicBitmap::GetDestHardwareFragment(HardwareKernelLanguage language) const noexcept {
    return GetDestAddressing(language);
}

const char* DynamicBitmap::GetMaskHardwareFragment(HardwareKernelLanguage language) const noexcept {
    return GetMaskAddressing(language);
}

bool DynamicBitmap::GetHardwareFillByte(unsigned char& /*byte*/) const noexcept {
    return false;
}

void DynamicBitmap::DestroyHardwareBuffer() {
    m_caches->deviceCopy.Drop(GetHostView());
}

void DynamicBitmap::FlushHardware() {
    m_caches->deviceCopy.Finish();
}

void DynamicBitmap::InvalidateHardwareCache(Rect rect) {
    m_caches->deviceCopy.HostHasChanged(rect.Intersect(GetBounds()));
    m_caches->DropLevels();
}

void DynamicBitmap::InvalidateHostCache(Rect rect) {
    m_caches->deviceCopy.DeviceHasChanged(rect.Intersect(GetBounds()));
    m_caches->DropLevels();
}

void DynamicBitmap::SyncHostCache(Rect* rect, bool willOverwrite, bool* abort) const {
    ForceDelayLoad(abort);
    // Deliberate: even when aborted. A caller that then marks the device copy stale, as a pixel
    // accessor does in its destructor, must not discard newer pixels of the device.
    m_caches->deviceCopy.Download({m_pixels, m_stride, m_width, m_height, m_format},
                                  GetOverwritten(rect, willOverwrite, GetBounds()));
}

bool DynamicBitmap::SyncHardwareCache(void* device, Rect* rect, bool willOverwrite,
                                      bool* abort) const {
    ForceDelayLoad(abort);
    return !IsAborted(abort) &&
           m_caches->deviceCopy.Upload(device, {m_pixels, m_stride, m_width, m_height, m_format},
                                       GetOverwritten(rect, willOverwrite, GetBounds()));
}

void* DynamicBitmap::RetainHardwareBuffer(void* device, bool* abort) const {
    if (m_policy == HardwareCachePolicy::Never || GetBounds().IsEmpty() || IsAborted(abort)) {
        return nullptr;
    }
    return m_caches->deviceCopy.Retain(device, {m_pixels, m_stride, m_width, m_height, m_format});
}

}  // namespace Raster
