#include "Kernel/Format.h"

#include "inference/ONNXRuntime.h"

#include <dlfcn.h>

namespace Learning {

namespace {

[[noreturn]] void Fail(const Kernel::String& what) {
    throw Ort::Exception(what.c_str(), ORT_FAIL);
}

}  // namespace

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

}  // namespace Learning
