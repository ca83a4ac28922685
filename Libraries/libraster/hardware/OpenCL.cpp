#include "hardware/OpenCL.h"

#include <optional>
#include <string>

namespace Raster {

namespace {

std::optional<OpenCLFunctions> LoadFunctions() noexcept {
    OpenCLFunctions functions;
    bool isComplete = true;
#define RASTER_LOAD(NAME)                                                                        \
    functions.NAME = reinterpret_cast<decltype(functions.NAME)>(FindOpenCLFunction("cl" #NAME)); \
    isComplete = isComplete && functions.NAME != nullptr;
    RASTER_OPENCL_FUNCTIONS(RASTER_LOAD)
#undef RASTER_LOAD
    return isComplete ? std::optional(functions) : std::nullopt;
}

}  // namespace

const OpenCLFunctions* FindOpenCL() noexcept {
    static const std::optional<OpenCLFunctions> functions = LoadFunctions();
    return functions ? &*functions : nullptr;
}

OpenCLError::OpenCLError(const char* function, cl_int code)
    : std::runtime_error(std::string(function) + " failed with code " + std::to_string(code)),
      m_code(code) {}

bool OpenCLError::IsOutOfMemory() const noexcept {
    return m_code == CL_MEM_OBJECT_ALLOCATION_FAILURE || m_code == CL_OUT_OF_HOST_MEMORY;
}

}  // namespace Raster
