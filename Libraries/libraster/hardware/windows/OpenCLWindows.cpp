// Windows: where the OpenCL library and the display devices are found.

#include "hardware/OpenCL.h"

#include <windows.h>

#include <string_view>

namespace Raster {

void* FindOpenCLFunction(const char* name) noexcept {
    // Never closed: drivers leave threads behind. The system's own folder alone, which programs
    // can't write to.
    static const HMODULE library =
        LoadLibraryExW(L"OpenCL.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    return library != nullptr ? reinterpret_cast<void*>(GetProcAddress(library, name)) : nullptr;
}

bool HasDisplayDevice() noexcept {
    // What draws without a graphics card, or mirrors one for a remote desktop, is on no bus.
    DISPLAY_DEVICEW device{};
    device.cb = sizeof(device);
    for (DWORD i = 0; EnumDisplayDevicesW(nullptr, i, &device, 0) != FALSE; ++i) {
        if (std::wstring_view(device.DeviceID).starts_with(L"PCI\\")) {
            return true;
        }
    }
    return false;
}

}  // namespace Raster
