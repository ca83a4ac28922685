#include "Kernel/IoException.h"

#include "Kernel/Format.h"
#include "Kernel/Utf.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <system_error>

namespace Kernel {

namespace {

/// Names of files may hold any byte: line ends and zeros would cut the message.
std::string MakeLine(const String& text) {
    std::string line(std::string_view(ReplaceInvalidUtf8(text)));
    std::replace_if(
        line.begin(), line.end(), [](unsigned char byte) { return byte < ' '; }, '?');
    return line;
}

}  // namespace

IoException::IoException(const char* action, const String& path, int code)
    : std::runtime_error(MakeLine(
          Format("cannot %1 %2: %3", action, path, std::generic_category().message(code)))) {}

IoException::~IoException() = default;

}  // namespace Kernel
