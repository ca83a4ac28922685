// Joining of kernel fragments, and the programs built from them.

#pragma once

#include "Raster/Hardware.h"

#include "hardware/OpenCL.h"

#include <array>
#include <stdexcept>
#include <string>

namespace Raster {

class Device;

/// The cache key of a kernel: the addresses of its formats and fragments, all of which live as long
/// as the process.
using KernelKey = std::array<const void*, 8>;
KernelKey GetKernelKey(const KernelDescriptor& descriptor) noexcept;

/// The text of the program: a #define for each pixel size, and the fragments between #defines that
/// rename the functions of source, destination and mask.
std::string JoinFragments(const KernelDescriptor& descriptor);

/// A program does not compile; the message is the build log.
class KernelBuildError : public std::runtime_error {
public:
    using runtime_error::runtime_error;
};

/// A program of one kernel.
class KernelProgram {
public:
    /// Builds the program. Throws KernelBuildError and OpenCLError.
    KernelProgram(const Device& device, const std::string& text);

    cl_kernel GetKernel() const noexcept { return m_kernel.Get(); }

private:
    OpenCLProgram m_program;
    OpenCLKernel m_kernel;
};

}  // namespace Raster
