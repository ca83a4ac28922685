#include "Raster/Hardware.h"

#include "Kernel/CriticalSection.h"

#include "hardware/Device.h"
#include "hardware/DeviceImage.h"
#include "hardware/FailureCounts.h"

#include <atomic>

namespace Raster {

namespace {

// Read without the lock, since every run does.
std::atomic<HardwareUse> use = HardwareUse::GPUs;
std::atomic<bool> isChosen = false;
std::atomic<Device*> chosen = nullptr;

Kernel::CriticalSection& GetSection() {
    static Kernel::CriticalSection section;
    return section;
}

Device* ChooseOnce() {
    const Kernel::ScopedLock lock(GetSection());
    if (!isChosen) {
        chosen = Device::Choose(use);
        isChosen = true;
    }
    return chosen;
}

constinit FailureCounts failureCounts;

bool HasAllFragments(const KernelImage& image) noexcept {
    return image.format != nullptr && image.traitsFragment != nullptr && image.fragment != nullptr;
}

/// Whether a kernel over `rect` stays within an image, which may be none.
bool IsWithin(const Rect& rect, const KernelImage& image) noexcept {
    if (image.buffer == nullptr) {
        return image.format == nullptr;
    }
    return rect.Intersect(static_cast<const DeviceImage*>(image.buffer)->GetBounds()) == rect;
}

}  // namespace

template <class Implementation>
void* Hardware<Implementation>::GetDevice() {
    Device* const device = isChosen ? chosen.load() : ChooseOnce();
    return device != nullptr && !device->IsDisabled() ? device : nullptr;
}

template <class Implementation>
void* Hardware<Implementation>::GetIdentityBuffer(void* device) {
    const Device* const found = Device::Find(device);
    return found != nullptr ? Kernel::Counted(found->GetIdentityImage()).Detach() : nullptr;
}

template <class Implementation>
void Hardware<Implementation>::ReleaseBuffer(void* buffer) noexcept {
    if (buffer != nullptr) {
        static_cast<DeviceImage*>(buffer)->Release();
    }
}

template <class Implementation>
void Hardware<Implementation>::IncrementFailedKernels(void* device) noexcept {
    failureCounts.Increment(device);
}

template <class Implementation>
std::uint64_t Hardware<Implementation>::GetFailedKernelCount(void* device) noexcept {
    return failureCounts.Get(device);
}

template <class Implementation>
void Hardware<Implementation>::SetUse(HardwareUse newUse) {
    const Kernel::ScopedLock lock(GetSection());
    use = newUse;
    chosen = nullptr;
    isChosen = false;
}

ORVANTIS_INSTANTIATE(Hardware<DefaultImplementation>);

bool ShouldExecuteKernel(const Rect& rect) {
    // Below, the transfers cost more than the work.
    constexpr std::uint64_t FewestPixels = std::uint64_t{512} * 512;
    const std::uint64_t pixels =
        static_cast<std::uint64_t>(rect.GetWidth()) * static_cast<std::uint64_t>(rect.GetHeight());
    return (pixels >= FewestPixels || use == HardwareUse::AnyDevice) &&
           Hardware<DefaultImplementation>::GetDevice() != nullptr;
}

HardwareKernelLanguage GetKernelLanguage(void* /*device*/) {
    return HardwareKernelLanguage::OpenCL;
}

bool KernelDescriptor::IsComplete() const {
    if (!HasAllFragments(source) || !HasAllFragments(destination) ||
        (mask.format != nullptr && !HasAllFragments(mask)) || conversionFragment == nullptr ||
        perPixelFragment == nullptr) {
        return false;
    }
    // Under a mask the destination's pixels are read, too.
    if (mask.format != nullptr &&
        destination.format->getSourceFragment(GetKernelLanguage(device)) == nullptr) {
        return false;
    }
    Device* const found = Device::Find(device);
    return found != nullptr && !found->IsKnownToFail(*this);
}

bool ExecuteKernel(const KernelDescriptor& descriptor, const Rect& rect) {
    Device* const device = Device::Find(descriptor.device);
    if (device == nullptr || rect.IsEmpty() || !descriptor.IsComplete() ||
        !IsWithin(rect, descriptor.source) || !IsWithin(rect, descriptor.destination) ||
        !IsWithin(rect, descriptor.mask)) {
        return false;
    }
    try {
        return device->Run(descriptor, rect);
    } catch (const OpenCLError& error) {
        device->HandleError(error);
        return false;
    }
}

}  // namespace Raster
