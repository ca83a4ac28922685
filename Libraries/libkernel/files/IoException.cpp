#include "Kernel/IoException.h"

#include "Kernel/Format.h"
#include "Kernel/Utf.h"

#include <system_error>

namespace Kernel {

IoException::IoException(const char* action, const String& path, int code)
    : std::runtime_error(Format("cannot %1 %2: %3", action, ReplaceInvalidUtf8(path),
                                std::generic_category().message(code))
                             .c_str()) {}

IoException::~IoException() = default;

}  // namespace Kernel
