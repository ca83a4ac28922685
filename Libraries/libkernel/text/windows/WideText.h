// Texts as Windows takes them: UTF-16 in wchar_t.

#pragma once

#include "Kernel/String.h"

#include <string>
#include <string_view>

namespace Kernel {

/// As ToUtf16().
std::wstring ToWide(std::string_view text);

/// As FromUtf16().
String FromWide(std::wstring_view text);

}  // namespace Kernel
