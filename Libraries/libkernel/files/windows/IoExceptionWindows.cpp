#include "Kernel/IoException.h"

#include "text/windows/WideText.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace Kernel {

bool IsSpaceShort(const std::error_code& error) noexcept {
    constexpr int QuotaExceeded = 1295;  // ERROR_DISK_QUOTA_EXCEEDED, which MinGW does not name
    constexpr std::array<int, 3> Codes{ERROR_DISK_FULL, ERROR_HANDLE_DISK_FULL, QuotaExceeded};
    return error == std::errc::no_space_on_device ||
           (error.category() == std::system_category() &&
            std::find(Codes.begin(), Codes.end(), error.value()) != Codes.end());
}

String DescribeError(const std::error_code& error) {
    if (error.category() != std::system_category()) {
        return error.message();
    }
    // The category's own text is in the code page of the process.
    std::array<wchar_t, 512> text{};
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS |
                                            FORMAT_MESSAGE_MAX_WIDTH_MASK,  // no line ends
                                        nullptr, static_cast<DWORD>(error.value()), 0, text.data(),
                                        static_cast<DWORD>(text.size()), nullptr);
    std::wstring_view message(text.data(), length);
    message = message.substr(0, message.find_last_not_of(L" .") + 1);
    return message.empty() ? String("error ") + std::to_string(error.value()) : FromWide(message);
}

}  // namespace Kernel
