// Failures of the system that supplies the machine's accelerators.

#pragma once

#include "Kernel/String.h"
#include "Learning/Export.h"

#include <cstdint>
#include <stdexcept>

namespace Learning {

/// Thrown where models are opened that may run on an accelerator, if Windows' catalogue of
/// execution providers fails; other systems throw none. what() is one line of UTF-8: the reason and
/// the code. It is no failure of the model's file, which may be opened again later, or for the CPU.
class LEARNING_API PlatformError : public std::runtime_error {
public:
    /// `code`: a failing HRESULT; `reason`: what that means.
    PlatformError(std::int32_t code, const Kernel::String& reason);
    ~PlatformError() override;

    std::int32_t GetCode() const noexcept { return m_code; }

private:
    std::int32_t m_code;
};

}  // namespace Learning
