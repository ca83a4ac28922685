// The static interface of bitmaps, with defaults for one without pixels, device copy and cache.

#pragma once

#include "Kernel/Consolidated.h"
#include "Kernel/FixCorruptionsResult.h"
#include "Kernel/HashAccumulator.h"
#include "Raster/Hardware.h"
#include "Raster/ICCProfile.h"
#include "Raster/PixelView.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace Raster {

/// Static base of bitmaps: no operation is virtual. Pipelines call these on the concrete type,
/// which hides those that it implements. `Derived` is Kernel::Countable.
template <class Derived, class C1, class C2, class C3, class C4, class C5>
class ModelBase {
public:
    // Deliberate: assigns nothing, since the base has no state.
    ModelBase& operator=(const ModelBase& /*other*/) noexcept { return *this; }

    /// Five records, placeholders included.
    static std::vector<ChannelParams> GetChannelInfo() {
        return MakeChannelParams(ChannelFactsOf<C1, C2, C3, C4, C5>);
    }
    static Kernel::LocalisedString Localise(Kernel::String name) {
        return LocaliseChannelName(std::move(name));
    }

    int GetWidth(int /*level*/) const noexcept { return 0; }
    int GetHeight(int /*level*/) const noexcept { return 0; }
    /// A copy; null if there can be none, or if `abort` was set meanwhile.
    Kernel::Counted<Derived> Clone(bool* /*abort*/) const { return nullptr; }
    /// A transparent bitmap of the same size and format.
    Kernel::Counted<Derived> CloneEmpty() const { return nullptr; }
    /// The colour profile; empty by default: not colour-managed.
    Kernel::Consolidated<ICCProfile> GetProfile() const { return {}; }

    /// Whether all pixels are equal; false by default.
    bool IsEqual(const Derived& /*other*/) const { return false; }
    /// Hashes what IsEqual() compares.
    void AccumulateHashFast(Kernel::HashAccumulator& /*hash*/) const {}
    /// Whether there are samples that are NaN or infinite; only a thorough check looks for them.
    Kernel::FixCorruptionsResult CheckForCorruptions(bool /*isThorough*/) const {
        return Kernel::FixCorruptionsResult::Sound;
    }
    /// Sets such samples to 0.
    Kernel::FixCorruptionsResult FixCorruptions() { return Kernel::FixCorruptionsResult::Sound; }

    /// How many threads may work on this concurrently; 0 for any number.
    int GetThreadLimit() const noexcept { return 0; }

    // The device copy. Rectangles are in pixels, null means all of them. `abort`, if not null, ends
    // an operation early once it is set.

    /// The device that holds a copy; null if none does.
    void* GetHardwareDevice() const noexcept { return nullptr; }
    /// The queue of that device, a handle of the implementation; 0 if there is none.
    std::uintptr_t GetHardwareWriteQueue() const noexcept { return 0; }
    /// Writes the parameters of this bitmap's fragments, and returns their count.
    static int GetHardwareParams(const void* /*device*/, float* /*params*/) noexcept { return 0; }
    static const char* GetSourceHardwareFragment(HardwareKernelLanguage /*language*/) noexcept {
        return nullptr;
    }
    static const char* GetDestHardwareFragment(HardwareKernelLanguage /*language*/) noexcept {
        return nullptr;
    }
    static const char* GetMaskHardwareFragment(HardwareKernelLanguage /*language*/) noexcept {
        return nullptr;
    }
    /// Whether all bytes of all pixels are equal, and their value.
    bool GetHardwareFillByte(unsigned char& /*byte*/) const noexcept { return false; }
    /// Brings the host's copy up to date and drops the device's.
    void DestroyHardwareBuffer() noexcept {}
    /// Waits until the queue of the device is finished.
    void FlushHardware() noexcept {}
    /// Marks the device's pixels in `rect` stale: the host's are newer.
    void InvalidateHardwareCache(Rect /*rect*/) noexcept {}
    /// Marks the host's pixels in `rect` stale: the device's are newer.
    void InvalidateHostCache(Rect /*rect*/) noexcept {}
    /// Brings the host's copy up to date; `willOverwrite`: the caller writes all of `rect` next.
    void SyncHostCache(Rect* /*rect*/, bool /*willOverwrite*/, bool* /*abort*/) const noexcept {}
    /// Brings the copy on `device` up to date and returns whether that worked.
    bool SyncHardwareCache(void* /*device*/, Rect* /*rect*/, bool /*willOverwrite*/,
                           bool* /*abort*/) const noexcept {
        return true;
    }
    /// The device's copy, made if need be, with a reference that the caller releases; null if there
    /// can be none. By default the device's identity buffer, for bitmaps without pixels.
    template <class... Rest>
    void* RetainHardwareBuffer(void* device, const Rest&... /*rest*/) const {
        return Hardware<DefaultImplementation>::GetIdentityBuffer(device);
    }

protected:
    ModelBase() noexcept = default;
    ModelBase(const ModelBase&) noexcept = default;
    ~ModelBase() = default;
};

}  // namespace Raster
