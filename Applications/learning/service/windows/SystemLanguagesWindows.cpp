#include "Kernel/Utf.h"

#include "service/SystemLanguages.h"

#include <windows.h>

#include <algorithm>
#include <string_view>

namespace LearningApp {

std::string GetSystemLanguages() {
    ULONG count = 0;
    ULONG size = 0;
    if (GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, nullptr, &size) == 0) {
        return {};
    }
    std::wstring list(size, L'\0');  // "de-AT", a zero, "en-US", and two zeros
    if (GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, list.data(), &size) == 0) {
        return {};
    }
    list.resize(list.find_last_not_of(L'\0') + 1);
    std::ranges::replace(list, L'\0', L':');
    std::ranges::replace(list, L'-', L'_');
    return std::string(
        std::string_view(Kernel::FromUtf16(std::u16string(list.begin(), list.end()))));
}

}  // namespace LearningApp
