#include "Learning/PlatformError.h"

#include "Kernel/Format.h"

#include <array>
#include <cstdio>

namespace Learning {

namespace {

/// As Windows writes it: 8007007E.
std::array<char, 9> ToHexadecimal(std::int32_t code) {
    std::array<char, 9> digits{};
    std::snprintf(digits.data(), digits.size(), "%08X", static_cast<unsigned>(code));
    return digits;
}

}  // namespace

PlatformError::PlatformError(std::int32_t code, const Kernel::String& reason)
    : std::runtime_error(Kernel::Format("%1 (0x%2)", reason, ToHexadecimal(code).data()).c_str()),
      m_code(code) {}

PlatformError::~PlatformError() = default;

}  // namespace Learning
