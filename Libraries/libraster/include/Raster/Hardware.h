// Running pixel kernels on a device (OpenCL).

#pragma once

#include "Raster/Export.h"
#include "Raster/PixelView.h"

#include <cstdint>

namespace Raster {

/// The implementation that this library has: OpenCL, loaded on first use.
struct DefaultImplementation;

/// Which devices may be used.
enum class HardwareUse : std::uint8_t {
    Never,
    GPUs,       // the default
    AnyDevice,  // CPU devices too, which is no faster: for tests
};

/// The device of the process and what belongs to it. Devices and buffers are handles of the
/// implementation; a buffer stores the size and the stride of its pixels, and comes with a
/// reference that ReleaseBuffer() releases.
///
/// Nothing is opened before GetDevice() is called, and nothing at all where the system has no
/// display device. A device on which a call fails is not used again by the process, with a line in
/// the log; running out of memory only declines that call.
///
/// Threads: any.
template <class Implementation>
class Hardware {
public:
    /// The device that kernels run on; null if there is none or use is not allowed.
    static void* GetDevice();
    /// The placeholder buffer of the device, one for each, for bitmaps without pixels; null for
    /// null.
    static void* GetIdentityBuffer(void* device);
    static void ReleaseBuffer(void* buffer) noexcept;

    /// Counts an attempt at running a kernel that was declined or failed; `device` may be null.
    static void IncrementFailedKernels(void* device) noexcept;
    static std::uint64_t GetFailedKernelCount(void* device) noexcept;

    /// Sets which devices may be used; the next GetDevice() chooses again.
    static void SetUse(HardwareUse use);
};
RASTER_TEMPLATE(Hardware<DefaultImplementation>);

/// A reference to a device buffer, or null.
class DeviceBuffer {
public:
    explicit DeviceBuffer(void* buffer) noexcept : m_buffer(buffer) {}
    DeviceBuffer(const DeviceBuffer&) = delete;
    DeviceBuffer& operator=(const DeviceBuffer&) = delete;
    ~DeviceBuffer() { Hardware<DefaultImplementation>::ReleaseBuffer(m_buffer); }

    void* Get() const noexcept { return m_buffer; }
    explicit operator bool() const noexcept { return m_buffer != nullptr; }

private:
    void* m_buffer;
};

/// Whether to run over `rect` on a device: there is one, and enough pixels to outweigh the
/// transfer.
RASTER_API bool ShouldExecuteKernel(const Rect& rect);
RASTER_API HardwareKernelLanguage GetKernelLanguage(void* device);

/// The fragment that copies pixels unchanged, and the one that converts by the reader of one format
/// and the writer of another.
RASTER_API const char* GetIdentityConversionFragment(HardwareKernelLanguage language);
RASTER_API const char* GetJointConversionFragment(HardwareKernelLanguage language);

/// How a kernel's work items map to pixels.
struct Horizontal;
template <class Direction>
struct KernelPerPixel;
/// One work item for each pixel; consecutive items are consecutive pixels of a row.
template <>
struct RASTER_API KernelPerPixel<Horizontal> {
    static const char* GetHardwareFragment(HardwareKernelLanguage language);
};

/// One bitmap of a kernel: its format, its place on the device and how its pixels are addressed.
struct KernelImage {
    const PixelFormat* format = nullptr;
    const char* traitsFragment = nullptr;  // reader, writer or mask rule of the format
    const char* fragment = nullptr;        // addressing
    void* buffer = nullptr;                // not owned
};

/// A kernel to run; built on first use and cached by formats and fragments.
struct KernelDescriptor {
    void* device = nullptr;
    KernelImage source;
    KernelImage destination;
    KernelImage mask;  // its format is null if there is none
    const char* conversionFragment = nullptr;
    const char* perPixelFragment = nullptr;

    /// Whether the device is usable, every fragment needed is set, and the kernel has not failed to
    /// build.
    RASTER_API bool IsComplete() const;
};

/// Runs the kernel over `rect`, which must lie within all its images, and waits for its end. False
/// if it can't be built or run.
RASTER_API bool ExecuteKernel(const KernelDescriptor& descriptor, const Rect& rect);

}  // namespace Raster
