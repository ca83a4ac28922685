// A device that runs kernels.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/CriticalSection.h"
#include "Raster/Hardware.h"

#include "hardware/KernelProgram.h"
#include "hardware/OpenCL.h"

#include <atomic>
#include <cstddef>
#include <map>
#include <memory>
#include <string>

namespace Raster {

class DeviceImage;

/// A device with its context, its in-order queue and its programs. Never destroyed: drivers are
/// unloaded before our statics would be. Its handle is its address.
///
/// Threads: any.
class Device {
public:
    /// Throws OpenCLError.
    explicit Device(cl_device_id id);
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;
    ~Device();

    /// The first device that fits `use`; null if there is none.
    static Device* Choose(HardwareUse use);
    /// The device of that handle; null for an unknown handle, and for a device that is no longer
    /// used.
    static Device* Find(void* handle);

    bool IsDisabled() const noexcept { return m_isDisabled; }
    /// Disables the device for the rest of the process, and logs why, once; out of memory is
    /// ignored.
    void HandleError(const OpenCLError& error) noexcept;

    /// Whether that program was tried and can't be built.
    bool IsKnownToFail(const KernelDescriptor& descriptor);
    /// Runs the kernel over `rect` and waits for its end; false if it can't be built. Throws
    /// OpenCLError.
    bool Run(const KernelDescriptor& descriptor, const Rect& rect);

    cl_device_id GetId() const noexcept { return m_id; }
    cl_context GetContext() const noexcept { return m_context.Get(); }
    cl_command_queue GetQueue() const noexcept { return m_queue.Get(); }
    /// The most bytes that one buffer may have.
    std::size_t GetLargestBuffer() const noexcept { return m_largestBuffer; }
    const Kernel::Counted<DeviceImage>& GetIdentityImage() const noexcept { return m_identity; }

private:
    const KernelProgram* FindProgram(const KernelDescriptor& descriptor);
    OpenCLEvent Enqueue(cl_kernel kernel, const KernelDescriptor& descriptor, const Rect& rect);

    cl_device_id m_id;
    std::string m_name;
    std::size_t m_largestBuffer;
    OpenCLContext m_context;
    OpenCLQueue m_queue;
    Kernel::Counted<DeviceImage> m_identity;
    Kernel::CriticalSection m_section;  // guards the programs, whose arguments are set one by one
    std::map<KernelKey, std::unique_ptr<KernelProgram>> m_programs;  // null for what did not build
    std::atomic<bool> m_isDisabled = false;
};

}  // namespace Raster
