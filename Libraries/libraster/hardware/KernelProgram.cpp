#include "hardware/KernelProgram.h"

#include "hardware/Device.h"

namespace Raster {

namespace {

/// `fragment` with its function `name` renamed to `newName`, so that several fragments may define
/// it.
std::string Rename(const char* fragment, const std::string& name, const std::string& newName) {
    return "#define " + name + ' ' + newName + '\n' + fragment + "\n#undef " + name + '\n';
}

std::string DefineSize(const char* name, const PixelFormat& format) {
    return std::string("#define ") + name + ' ' + std::to_string(format.GetPixelSize()) + '\n';
}

/// The fragments for a mask: its own, and the reader of the destination's format.
std::string JoinMaskFragments(const KernelDescriptor& descriptor) {
    const PixelFormat& destination = *descriptor.destination.format;
    std::string text = "#define HasMask\n" + DefineSize("MaskPixelSize", *descriptor.mask.format) +
                       descriptor.mask.traitsFragment + descriptor.mask.fragment;
    if (&destination == descriptor.source.format) {
        return text + "#define ReadDestination ReadSource\n";
    }
    return text + Rename(destination.getSourceFragment(GetKernelLanguage(descriptor.device)),
                         "ReadPixel", "ReadDestination");
}

std::string GetBuildLog(const Device& device, cl_program program) {
    std::size_t size = 0;
    CheckOpenCL("clGetProgramBuildInfo",
                GetOpenCL().GetProgramBuildInfo(program, device.GetId(), CL_PROGRAM_BUILD_LOG, 0,
                                                nullptr, &size));
    std::string log(size, '\0');
    CheckOpenCL("clGetProgramBuildInfo",
                GetOpenCL().GetProgramBuildInfo(program, device.GetId(), CL_PROGRAM_BUILD_LOG, size,
                                                log.data(), nullptr));
    return log.c_str();  // up to the terminating zero
}

OpenCLProgram Build(const Device& device, const std::string& text) {
    const char* lines = text.c_str();
    cl_int code = CL_SUCCESS;
    OpenCLProgram program(
        GetOpenCL().CreateProgramWithSource(device.GetContext(), 1, &lines, nullptr, &code));
    CheckOpenCL("clCreateProgramWithSource", code);
    const cl_device_id id = device.GetId();
    if (GetOpenCL().BuildProgram(program.Get(), 1, &id,
                                 "-cl-std=CL1.2 -cl-fp32-correctly-rounded-divide-sqrt", nullptr,
                                 nullptr) != CL_SUCCESS) {
        throw KernelBuildError(GetBuildLog(device, program.Get()));
    }
    return program;
}

OpenCLKernel MakeKernel(const OpenCLProgram& program) {
    cl_int code = CL_SUCCESS;
    OpenCLKernel kernel(GetOpenCL().CreateKernel(program.Get(), "ConvertPixels", &code));
    CheckOpenCL("clCreateKernel", code);
    return kernel;
}

}  // namespace

KernelKey GetKernelKey(const KernelDescriptor& descriptor) noexcept {
    return {descriptor.source.format,      descriptor.source.fragment,
            descriptor.destination.format, descriptor.destination.fragment,
            descriptor.mask.format,        descriptor.mask.fragment,
            descriptor.conversionFragment, descriptor.perPixelFragment};
}

std::string JoinFragments(const KernelDescriptor& descriptor) {
    std::string text = "#pragma OPENCL FP_CONTRACT OFF\n";
    text += DefineSize("SourcePixelSize", *descriptor.source.format);
    text += DefineSize("DestinationPixelSize", *descriptor.destination.format);
    text += Rename(descriptor.source.traitsFragment, "ReadPixel", "ReadSource");
    text += descriptor.source.fragment;
    text += Rename(descriptor.destination.traitsFragment, "WritePixel", "WriteDestination");
    text += descriptor.destination.fragment;
    if (descriptor.mask.format != nullptr) {
        text += JoinMaskFragments(descriptor);
    }
    return text + descriptor.conversionFragment + descriptor.perPixelFragment;
}

KernelProgram::KernelProgram(const Device& device, const std::string& text)
    : m_program(Build(device, text)), m_kernel(MakeKernel(m_program)) {}

}  // namespace Raster
