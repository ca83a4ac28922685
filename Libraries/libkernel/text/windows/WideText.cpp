#include "text/windows/WideText.h"

#include "Kernel/Utf.h"

namespace Kernel {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

std::wstring ToWide(std::string_view text) {
    const std::u16string units = ToUtf16(text);
    return {units.begin(), units.end()};
}

String FromWide(std::wstring_view text) {
    return FromUtf16(std::u16string(text.begin(), text.end()));
}

}  // namespace Kernel
