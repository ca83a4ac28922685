// The OpenCL library, which is loaded on first use and never linked: a driver loads hundreds of
// megabytes, with a compiler that conflicts with other copies of it in the process. The only file
// that includes OpenCL's header.

#pragma once

#define CL_TARGET_OPENCL_VERSION 120
#include <CL/cl.h>

#include <stdexcept>
#include <utility>

namespace Raster {

// What we call of OpenCL 1.2.
#define RASTER_OPENCL_FUNCTIONS(APPLY) \
    APPLY(BuildProgram)                \
    APPLY(CreateBuffer)                \
    APPLY(CreateCommandQueue)          \
    APPLY(CreateContext)               \
    APPLY(CreateKernel)                \
    APPLY(CreateProgramWithSource)     \
    APPLY(EnqueueNDRangeKernel)        \
    APPLY(EnqueueReadBufferRect)       \
    APPLY(EnqueueWriteBufferRect)      \
    APPLY(Finish)                      \
    APPLY(Flush)                       \
    APPLY(GetDeviceIDs)                \
    APPLY(GetDeviceInfo)               \
    APPLY(GetPlatformIDs)              \
    APPLY(GetProgramBuildInfo)         \
    APPLY(ReleaseCommandQueue)         \
    APPLY(ReleaseContext)              \
    APPLY(ReleaseEvent)                \
    APPLY(ReleaseKernel)               \
    APPLY(ReleaseMemObject)            \
    APPLY(ReleaseProgram)              \
    APPLY(SetKernelArg)                \
    APPLY(WaitForEvents)

/// The functions of the library, without their prefix.
struct OpenCLFunctions {
// NOLINTNEXTLINE(bugprone-macro-parentheses): a name can't have any
#define RASTER_DECLARE(NAME) decltype(&::cl##NAME) NAME = nullptr;
    RASTER_OPENCL_FUNCTIONS(RASTER_DECLARE)
#undef RASTER_DECLARE
};

/// Opens the library on the first call; null if there is none.
const OpenCLFunctions* FindOpenCL() noexcept;
/// Requires that FindOpenCL() does not return null, which holds for owners of a handle.
inline const OpenCLFunctions& GetOpenCL() noexcept {
    return *FindOpenCL();
}

/// The address of a function of the system's OpenCL library; null if either is missing.
void* FindOpenCLFunction(const char* name) noexcept;
/// Whether the system has a GPU, without which OpenCL is not worth loading.
bool HasDisplayDevice() noexcept;

/// A call to OpenCL failed.
class OpenCLError : public std::runtime_error {
public:
    OpenCLError(const char* function, cl_int code);

    /// Whether memory was full: the next call may succeed.
    bool IsOutOfMemory() const noexcept;

private:
    cl_int m_code;
};

/// Throws OpenCLError unless `code` is CL_SUCCESS.
inline void CheckOpenCL(const char* function, cl_int code) {
    if (code != CL_SUCCESS) {
        throw OpenCLError(function, code);
    }
}

/// Owns a handle of OpenCL, or is empty.
template <class Handle, auto Release>
class OpenCLHandle {
public:
    explicit OpenCLHandle(Handle handle = nullptr) noexcept : m_handle(handle) {}
    OpenCLHandle(OpenCLHandle&& other) noexcept
        : m_handle(std::exchange(other.m_handle, nullptr)) {}
    OpenCLHandle& operator=(OpenCLHandle other) noexcept {
        std::swap(m_handle, other.m_handle);
        return *this;
    }
    ~OpenCLHandle() {
        if (m_handle != nullptr) {
            (GetOpenCL().*Release)(m_handle);
        }
    }

    Handle Get() const noexcept { return m_handle; }

private:
    Handle m_handle;
};
using OpenCLContext = OpenCLHandle<cl_context, &OpenCLFunctions::ReleaseContext>;
using OpenCLQueue = OpenCLHandle<cl_command_queue, &OpenCLFunctions::ReleaseCommandQueue>;
using OpenCLMemory = OpenCLHandle<cl_mem, &OpenCLFunctions::ReleaseMemObject>;
using OpenCLProgram = OpenCLHandle<cl_program, &OpenCLFunctions::ReleaseProgram>;
using OpenCLKernel = OpenCLHandle<cl_kernel, &OpenCLFunctions::ReleaseKernel>;
using OpenCLEvent = OpenCLHandle<cl_event, &OpenCLFunctions::ReleaseEvent>;

}  // namespace Raster
