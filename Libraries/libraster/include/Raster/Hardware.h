// Running pixel kernels on a device (OpenCL).

#pragma once

#include "Raster/Export.h"
#include "Raster/PixelView.h"

#include <cstdint>

namespace Raster {

/// The implementation that this library has: OpenCL, opened when it is first asked for.
struct DefaultImplementation;

/// Which devices may be used.
enum class HardwareUse : std::uint8_t {
    Never,
    GPUs,       // the default
    AnyDevice,  // processors too, which gains nothing: for tests
};

/// The device of the process and what belongs to it. Devices and buffers are handles of the
/// implementation; a buffer knows the size and the row distance of its pixels, and comes with a
/// reference that ReleaseBuffer() gives back.
///
/// Nothing is opened before GetDevice() is called, and nothing at all where the system has no
/// display device. A device that fails to work is given up for the life of the process, with a line
/// in the log; one whose memory is full only declines.
///
/// Threads: any.
template <class Implementation>
class Hardware {
public:
    /// The device that kernels run on; null if there is none or use is not allowed.
    static void* GetDevice();
    /// A buffer of the device, one for each, that stands for pixels which have none; null for null.
    static void* GetIdentityBuffer(void* device);
    static void ReleaseBuffer(void* buffer) noexcept;

    /// Counts an attempt at running a kernel that was declined or failed; `device` may be null.
    static void IncrementFailedKernels(void* device) noexcept;
    static std::uint64_t GetFailedKernelCount(void* device) noexcept;

    /// Forgets the device in use, so that the next GetDevice() chooses again.
    static void SetUse(HardwareUse use);
};
extern template class RASTER_API Hardware<DefaultImplementation>;

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

/// Whether a run over `rect` is worth a device at all: there must be a device, and pixels enough.
RASTER_API bool ShouldExecuteKernel(const Rect& rect);
RASTER_API HardwareKernelLanguage GetKernelLanguage(void* device);

/// The fragment that copies pixels as they are, and the one that joins the rules of two formats.
RASTER_API const char* GetIdentityConversionFragment(HardwareKernelLanguage language);
RASTER_API const char* GetJointConversionFragment(HardwareKernelLanguage language);

/// How a kernel's work items are laid over the pixels.
struct Horizontal;
template <class Direction>
struct KernelPerPixel;
/// One work item for each pixel, neighbours in a row beside each other.
template <>
struct RASTER_API KernelPerPixel<Horizontal> {
    static const char* GetHardwareFragment(HardwareKernelLanguage language);
};

/// One bitmap of a kernel: its format, its place on the device and how its pixels are addressed.
struct KernelImage {
    const PixelFormat* format = nullptr;
    const char* traitsFragment = nullptr;  // rules of the format
    const char* fragment = nullptr;        // addressing
    void* buffer = nullptr;                // lent
};

/// A kernel to build, if it was not built before for the same formats, and to run.
struct KernelDescriptor {
    void* device = nullptr;
    KernelImage source;
    KernelImage destination;
    KernelImage mask;  // its format is null if there is none
    const char* conversionFragment = nullptr;
    const char* perPixelFragment = nullptr;

    /// Whether every fragment that is needed is there and the kernel did not fail to build before.
    RASTER_API bool IsComplete() const;
};

/// Runs the kernel over `rect`, which must lie within all its images, and waits for its end. False
/// if it can't be built or run.
RASTER_API bool ExecuteKernel(const KernelDescriptor& descriptor, const Rect& rect);

}  // namespace Raster
