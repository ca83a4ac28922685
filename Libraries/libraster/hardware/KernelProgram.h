// Kernels: how their fragments are joined, and what they are built to.

#pragma once

#include "Raster/Hardware.h"

#include "hardware/OpenCL.h"

#include <array>
#include <stdexcept>
#include <string>

namespace Raster {

class Device;

/// What tells kernels apart: the formats and the fragments, all of which live as long as the
/// process.
using KernelKey = std::array<const void*, 8>;
KernelKey GetKernelKey(const KernelDescriptor& descriptor) noexcept;

/// The text of the program: a line for each size of pixel, the fragments, and between them the
/// names that keep those of source, destination and mask apart.
std::string JoinFragments(const KernelDescriptor& descriptor);

/// A program is not accepted; the message is what the compiler said.
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
