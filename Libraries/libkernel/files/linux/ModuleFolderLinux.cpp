#include "Kernel/Format.h"
#include "Kernel/IoException.h"
#include "Kernel/ModuleFolder.h"

#include <dlfcn.h>
#include <link.h>

#include <array>
#include <climits>
#include <filesystem>

namespace Kernel {

namespace {

/// What the dynamic linker knows of the module that holds `address`.
const link_map& GetModule(const void* address) {
    Dl_info info{};
    void* module = nullptr;
    if (dladdr1(address, &info, &module, RTLD_DL_LINKMAP) == 0 || module == nullptr) {
        throw IoException("the folder of a module is unknown: there is no module at the address");
    }
    return *static_cast<const link_map*>(module);
}

/// The absolute folder that a shared library was loaded from, even if it was named by a relative
/// path and the current folder has changed since: the dynamic linker notes it at that moment.
String GetOrigin(const char* libraryName) {
    void* const handle = dlopen(libraryName, RTLD_LAZY | RTLD_NOLOAD);
    std::array<char, PATH_MAX> origin{};
    if (handle == nullptr || dlinfo(handle, RTLD_DI_ORIGIN, origin.data()) != 0) {
        throw IoException(
            Format("the folder of %1 is unknown: %2", libraryName, dlerror()).c_str());
    }
    dlclose(handle);  // gives back the reference that RTLD_NOLOAD took
    return origin.data();
}

}  // namespace

String GetModuleFolder(const void* address) {
    const char* const name = GetModule(address).l_name;
    if (name != nullptr && *name != '\0') {
        return GetOrigin(name) + "/";
    }
    // The main program has no name here, and its first argument may be anything.
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) {
        throw IoException("find the folder of", "the program", error);
    }
    return String(program.parent_path().string()) + "/";
}

}  // namespace Kernel
