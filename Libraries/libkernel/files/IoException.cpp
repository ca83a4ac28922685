#include "Kernel/IoException.h"

#include "Kernel/Format.h"
#include "Kernel/Utf.h"

#include <system_error>

namespace Kernel {

// Names of files may hold any byte: line ends and zeros would cut the message.
IoException::IoException(const char* action, const String& path, int code)
    : std::runtime_error(MakePrintable(Format("cannot %1 %2: %3", action, path,
                                              std::generic_category().message(code)))
                             .c_str()) {}

IoException::~IoException() = default;

}  // namespace Kernel
