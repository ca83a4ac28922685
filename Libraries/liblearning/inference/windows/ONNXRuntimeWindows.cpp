#include "Kernel/FileSystem.h"
#include "Kernel/Format.h"
#include "Kernel/IoException.h"

#include "inference/ONNXRuntime.h"
#include "inference/windows/ModuleLoading.h"

#include <system_error>

namespace Learning {

namespace {

/// Windows says the same of a missing file as of one whose own DLLs are missing.
std::error_code FindReason(const Kernel::String& path, DWORD error) {
    return error == ERROR_MOD_NOT_FOUND && !Kernel::FileSystem::Exists(path)
               ? std::make_error_code(std::errc::no_such_file_or_directory)
               : std::error_code(static_cast<int>(error), std::system_category());
}

/// The runtime's own DLLs are looked for beside it, and not beside the program.
HMODULE Open(const Kernel::String& path) {
    const LoadedModule module =
        LoadModule(ToRuntimePath(path).c_str(), LOAD_WITH_ALTERED_SEARCH_PATH);
    if (module.handle == nullptr) {
        const std::error_code reason = FindReason(path, module.error);
        throw Ort::Exception(Kernel::Format("the inference runtime %1 can't be loaded: %2", path,
                                            Kernel::DescribeError(reason))
                                 .c_str(),
                             ORT_FAIL);
    }
    return module.handle;
}

}  // namespace

Kernel::String GetRuntimePath() {
    return GetModuleFolder() + "onnxruntime.dll";
}

RuntimeLibrary::RuntimeLibrary(const Kernel::String& path) : m_handle(Open(path)) {}

RuntimeLibrary::~RuntimeLibrary() {
    if (!m_isKept) {
        FreeLibrary(static_cast<HMODULE>(m_handle));
    }
}

const OrtApiBase* RuntimeLibrary::GetApiBase() const {
    using GetBase = const OrtApiBase*(ORT_API_CALL*)();
    const FARPROC symbol = GetProcAddress(static_cast<HMODULE>(m_handle), "OrtGetApiBase");
    const auto getBase = reinterpret_cast<GetBase>(reinterpret_cast<void*>(symbol));
    return getBase != nullptr ? getBase() : nullptr;
}

}  // namespace Learning
