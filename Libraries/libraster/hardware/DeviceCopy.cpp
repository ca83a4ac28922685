#include "hardware/DeviceCopy.h"

#include "Kernel/Diagnostics.h"

#include "hardware/Device.h"
#include "hardware/DeviceImage.h"

#include <algorithm>
#include <bit>

namespace Raster {

namespace {

bool Contains(const Rect& outer, const Rect& inner) noexcept {
    return outer.Intersect(inner) == inner;
}

Rect Unite(const Rect& a, const Rect& b) noexcept {
    if (a.IsEmpty() || b.IsEmpty()) {
        return a.IsEmpty() ? b : a;
    }
    return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
            std::max(a.bottom, b.bottom)};
}

std::size_t GetSize(const PixelView& view) noexcept {
    return static_cast<std::size_t>(view.stride) * static_cast<std::size_t>(view.height);
}

}  // namespace

DeviceCopy::DeviceCopy() noexcept = default;
DeviceCopy::~DeviceCopy() = default;

void* DeviceCopy::GetDevice() const noexcept {
    const Kernel::ScopedLock lock(m_section);
    return m_image && !m_image->GetDevice().IsDisabled() ? &m_image->GetDevice() : nullptr;
}

std::uintptr_t DeviceCopy::GetQueue() const noexcept {
    const auto* const device = static_cast<const Device*>(GetDevice());
    return device != nullptr ? std::bit_cast<std::uintptr_t>(device->GetQueue()) : 0;
}

void* DeviceCopy::Retain(void* device, const PixelView& host) {
    const Kernel::ScopedLock lock(m_section);
    Device* const wanted = Device::Find(device);
    if (m_image && &m_image->GetDevice() != wanted) {
        Leave(host);
    }
    if (wanted == nullptr || GetSize(host) > wanted->GetLargestBuffer()) {
        return nullptr;
    }
    if (!m_image && !MakeImage(*wanted, host)) {
        return nullptr;
    }
    return Kernel::Counted(m_image).Detach();
}

bool DeviceCopy::MakeImage(Device& device, const PixelView& host) {
    try {
        m_image = Kernel::MakeCounted<DeviceImage>(device, host);
        m_staleOnDevice = host.GetBounds();
        return true;
    } catch (const OpenCLError& error) {
        device.HandleError(error);
        return false;
    }
}

void DeviceCopy::Finish() const noexcept {
    if (const auto* const device = static_cast<const Device*>(GetDevice())) {
        GetOpenCL().Finish(device->GetQueue());
    }
}

void DeviceCopy::Drop(const PixelView& host) noexcept {
    const Kernel::ScopedLock lock(m_section);
    if (m_image) {
        Leave(host);
    }
}

void DeviceCopy::Download(const PixelView& host, const Rect& overwritten) noexcept {
    const Kernel::ScopedLock lock(m_section);
    if (!m_image) {
        return;
    }
    if (m_image->GetDevice().IsDisabled()) {
        Leave(host);
    } else if (!Contains(overwritten, m_staleOnHost)) {
        MoveToHost(host);
    }
}

bool DeviceCopy::Upload(void* device, const PixelView& host, const Rect& overwritten) {
    const Kernel::ScopedLock lock(m_section);
    if (!m_image || &m_image->GetDevice() != device || m_image->GetDevice().IsDisabled()) {
        return false;
    }
    if (Contains(overwritten, m_staleOnDevice)) {
        return true;
    }
    try {
        m_image->Upload(host, m_staleOnDevice);
        m_staleOnDevice = {};
        return true;
    } catch (const OpenCLError& error) {
        m_image->GetDevice().HandleError(error);
        return false;
    }
}

void DeviceCopy::HostHasChanged(const Rect& rect) noexcept {
    const Kernel::ScopedLock lock(m_section);
    if (m_image) {
        m_staleOnDevice = Unite(m_staleOnDevice, rect);
        if (Contains(rect, m_staleOnHost)) {
            m_staleOnHost = {};
        }
    }
}

void DeviceCopy::DeviceHasChanged(const Rect& rect) noexcept {
    const Kernel::ScopedLock lock(m_section);
    if (m_image) {
        m_staleOnHost = Unite(m_staleOnHost, rect);
        if (Contains(rect, m_staleOnDevice)) {
            m_staleOnDevice = {};
        }
    }
}

void DeviceCopy::MoveToHost(const PixelView& host) noexcept {
    try {
        m_image->Download(host, m_staleOnHost);
    } catch (const OpenCLError& error) {
        m_image->GetDevice().HandleError(error);
        Kernel::Log::Write("Pixels of a bitmap are lost with the device that held them.\n");
        m_staleOnDevice = Unite(m_staleOnDevice, m_staleOnHost);
    }
    m_staleOnHost = {};
}

void DeviceCopy::Leave(const PixelView& host) noexcept {
    if (!m_staleOnHost.IsEmpty()) {
        MoveToHost(host);
    }
    m_image = nullptr;
    m_staleOnDevice = {};
}

}  // namespace Raster
