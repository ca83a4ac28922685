// Linux: where the OpenCL library and the display devices are found.

#include "hardware/OpenCL.h"

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>

namespace Raster {

namespace {

/// Whether a driver of the kernel's graphics subsystem (DRM) has a render node.
bool HasRenderNode() {
    std::error_code error;
    const std::filesystem::directory_iterator nodes("/dev/dri", error);
    return std::any_of(begin(nodes), end(nodes), [](const auto& node) {
        return node.path().filename().native().starts_with("renderD");
    });
}

}  // namespace

void* FindOpenCLFunction(const char* name) noexcept {
    // Never closed: drivers leave threads behind.
    static void* const library = dlopen("libOpenCL.so.1", RTLD_NOW | RTLD_LOCAL);
    return library != nullptr ? dlsym(library, name) : nullptr;
}

bool HasDisplayDevice() noexcept {
    // Drivers outside DRM, and that of a Linux inside Windows.
    constexpr std::array Others{"/dev/nvidiactl", "/dev/kfd", "/dev/dxg", "/dev/mali0"};
    try {
        return HasRenderNode() || std::any_of(Others.begin(), Others.end(), [](const char* path) {
                   std::error_code error;
                   return std::filesystem::exists(path, error);
               });
    } catch (const std::exception&) {
        return false;  // without access to it, a device can't be used either
    }
}

}  // namespace Raster
