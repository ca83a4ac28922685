#include "Kernel/Format.h"

#include "inference/ONNXRuntime.h"

#include <dlfcn.h>
#include <link.h>

#include <array>
#include <climits>
#include <filesystem>

namespace Learning {

namespace {

[[noreturn]] void Fail(const Kernel::String& what) {
    throw Ort::Exception(what.c_str(), ORT_FAIL);
}

/// What the dynamic linker knows of the module that holds this function.
const link_map& GetModule() {
    Dl_info info{};
    void* module = nullptr;
    const auto* const here = reinterpret_cast<const void*>(&GetModule);
    if (dladdr1(here, &info, &module, RTLD_DL_LINKMAP) == 0 || module == nullptr) {
        Fail("the folder of the inference runtime is unknown: the dynamic linker does not know us");
    }
    return *static_cast<const link_map*>(module);
}

/// The absolute folder that a shared library was loaded from, even if it was named by a relative
/// path and the current folder has changed since: the dynamic linker notes it at that moment.
Kernel::String GetOrigin(const char* libraryName) {
    void* const handle = dlopen(libraryName, RTLD_LAZY | RTLD_NOLOAD);
    std::array<char, PATH_MAX> origin{};
    if (handle == nullptr || dlinfo(handle, RTLD_DI_ORIGIN, origin.data()) != 0) {
        Fail(Kernel::Format("the folder of %1 is unknown: %2", libraryName, dlerror()));
    }
    dlclose(handle);  // gives back the reference that RTLD_NOLOAD took
    return origin.data();
}

}  // namespace

Kernel::String GetModuleFolder() {
    const char* const name = GetModule().l_name;
    if (name != nullptr && *name != '\0') {
        return GetOrigin(name) + "/";
    }
    // The main program has no name here, and its first argument may be anything.
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) {
        Fail(Kernel::Format("the folder of the program is unknown: %1", error.message()));
    }
    return Kernel::String(program.parent_path().string()) + "/";
}

Kernel::String GetRuntimePath() {
    return GetModuleFolder() + "libonnxruntime.so.1";
}

RuntimeLibrary::RuntimeLibrary(const Kernel::String& path)
    : m_handle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (m_handle == nullptr) {
        Fail(Kernel::Format("the inference runtime %1 can't be loaded: %2", path, dlerror()));
    }
}

RuntimeLibrary::~RuntimeLibrary() {
    if (!m_isKept) {
        dlclose(m_handle);
    }
}

const OrtApiBase* RuntimeLibrary::GetApiBase() const {
    using GetBase = const OrtApiBase*();
    auto* const getBase = reinterpret_cast<GetBase*>(dlsym(m_handle, "OrtGetApiBase"));
    return getBase != nullptr ? getBase() : nullptr;
}

std::basic_string<ORTCHAR_T> ToRuntimePath(const Kernel::String& path) {
    return ToRuntimeText(path);
}

}  // namespace Learning
