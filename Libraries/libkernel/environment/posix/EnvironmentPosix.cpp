#include "Kernel/Environment.h"
#include "Kernel/Utf.h"

#include <cstdlib>

namespace Kernel {

std::optional<String> GetEnv(const String& name) {
    const char* const value = HasZeroByte(name) ? nullptr : std::getenv(name.c_str());
    return value != nullptr ? std::optional<String>(value) : std::nullopt;
}

}  // namespace Kernel
