#include "Kernel/IoException.h"

#include "Kernel/Format.h"
#include "Kernel/Utf.h"

namespace Kernel {

// File names may contain any byte; line ends and zeros would truncate the message.
IoException::IoException(const char* action, const String& path, std::error_code code)
    : std::runtime_error(
          MakePrintable(Format("cannot %1 %2: %3", action, path, DescribeError(code))).c_str()),
      m_code(code) {}

IoException IoException::ForOtherThanFile(const String& path) {
    return IoException(
        MakePrintable(Format("cannot open %1: it is a folder, a pipe or a device", path)).c_str());
}

IoException::~IoException() = default;

}  // namespace Kernel
