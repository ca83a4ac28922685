#include "inference/RuntimeErrors.h"

#include "Kernel/Diagnostics.h"

namespace Learning {

void LogRuntimeError(const Ort::Exception& error) noexcept {
    Kernel::Log::Write("[ONNX Runtime] Error %1: %2\n", static_cast<int>(error.GetOrtErrorCode()),
                       error.what());
    Kernel::Log::Flush();
}

}  // namespace Learning
