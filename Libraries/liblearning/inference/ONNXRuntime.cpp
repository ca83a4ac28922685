#include "inference/ONNXRuntime.h"

#include "Kernel/Format.h"
#include "Kernel/IoException.h"
#include "Kernel/ModuleFolder.h"
#include "Kernel/NativePath.h"
#include "Kernel/Utf.h"

namespace Learning {

namespace {

// Deliberate: not ORT_API_VERSION. Headers newer than the runtime would ask it for a table that it
// does not have; later tables begin with this one.
constexpr std::uint32_t ApiVersion = 23;

[[noreturn]] void Fail(const Kernel::String& reason, OrtErrorCode code) {
    throw Ort::Exception(reason.c_str(), code);
}

void LoadONNXRuntime() {
    const Kernel::String path = GetRuntimePath();
    RuntimeLibrary library(path);
    const OrtApiBase* const base = library.GetApiBase();
    if (base == nullptr) {
        Fail(Kernel::Format("%1 is no inference runtime: no OrtGetApiBase answers", path),
             ORT_FAIL);
    }
    const OrtApi* const api = base->GetApi(ApiVersion);
    if (api == nullptr) {
        Fail(Kernel::Format("the inference runtime %1 is version %2, which does not serve API %3",
                            path, base->GetVersionString(), ApiVersion),
             ORT_FAIL);
    }
    Ort::InitApi(api);
    library.KeepOpen();
}

}  // namespace

void EnsureONNXRuntime() {
    [[maybe_unused]] static const bool isReady = [] {
        LoadONNXRuntime();
        return true;
    }();
}

bool IsONNXRuntimeUsable() noexcept {
    try {
        EnsureONNXRuntime();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

Kernel::String GetModuleFolder() {
    try {
        return Kernel::GetModuleFolder(reinterpret_cast<const void*>(&EnsureONNXRuntime));
    } catch (const Kernel::IoException& error) {
        Fail(error.what(), ORT_FAIL);
    }
}

const char* ToRuntimeText(const Kernel::String& text) {
    if (Kernel::HasZeroByte(text)) {
        Fail(Kernel::Format("%1 has a zero byte, as no name has", Kernel::MakePrintable(text)),
             ORT_INVALID_ARGUMENT);
    }
    return text.c_str();
}

std::basic_string<ORTCHAR_T> ToRuntimePath(const Kernel::String& path) {
    try {
        return Kernel::ToNativePath(path);
    } catch (const Kernel::IoException& error) {
        Fail(error.what(), ORT_INVALID_ARGUMENT);
    }
}

}  // namespace Learning
