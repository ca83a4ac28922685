#include "inference/ONNXRuntime.h"

#include "Kernel/Format.h"

namespace Learning {

namespace {

// Deliberate: not ORT_API_VERSION. Headers newer than the runtime would ask it for a table that it
// does not have; later tables begin with this one.
constexpr std::uint32_t ApiVersion = 23;

const OrtApi& GetApiTable() {
    const OrtApiBase& base = LoadONNXRuntime();
    const OrtApi* const api = base.GetApi(ApiVersion);
    if (api == nullptr) {
        const Kernel::String message =
            Kernel::Format("the inference runtime in %1 is version %2, which does not serve API %3",
                           GetModuleFolder(), base.GetVersionString(), ApiVersion);
        throw Ort::Exception(message.c_str(), ORT_FAIL);
    }
    return *api;
}

}  // namespace

void EnsureONNXRuntime() {
    [[maybe_unused]] static const bool isReady = [] {
        Ort::InitApi(&GetApiTable());
        return true;
    }();
}

}  // namespace Learning
