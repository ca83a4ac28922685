#include "files/windows/SystemPath.h"

#include "Kernel/Utf.h"

#include "files/windows/SystemHandle.h"
#include "text/windows/WideText.h"

#include <algorithm>

namespace Kernel {

namespace {

constexpr std::wstring_view Unlimited = LR"(\\?\)";
constexpr std::wstring_view UnlimitedNetwork = LR"(\\?\UNC\)";
constexpr std::wstring_view Device = LR"(\\.\)";
constexpr std::wstring_view Network = LR"(\\)";
constexpr std::size_t MaximumPlain = 248;  // of a folder's path with its zero byte; that of a file
                                           // may have 12 more

std::wstring GetFullPath(const std::wstring& path) {
    std::wstring full(path.size() + MAX_PATH, L'\0');
    for (;;) {
        const DWORD length =
            GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
        if (length == 0) {
            throw std::system_error(ToErrorCode());
        }
        const bool isWhole = length < full.size();
        full.resize(length);
        if (isWhole) {
            return full;
        }
    }
}

/// The length of `path` with its zero byte, or, if that is more, of what the system makes of it: a
/// relative path counts with the current folder.
std::size_t GetFullSize(const std::wstring& path) noexcept {
    return std::max<std::size_t>(path.size() + 1,
                                 GetFullPathNameW(path.c_str(), 0, nullptr, nullptr));
}

bool IsMissing(DWORD error) noexcept {
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ||
           error == ERROR_INVALID_NAME || error == ERROR_DIRECTORY;
}

/// Whether the file at `path`, which has a reparse point, is a link. Others belong to files whose
/// content is somewhere else, and are as good as any.
bool IsSurrogate(const std::wstring& path) noexcept {
    WIN32_FIND_DATAW found{};
    const HANDLE search = FindFirstFileW(path.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) {
        return true;  // what is not known is not entered
    }
    FindClose(search);
    return IsReparseTagNameSurrogate(found.dwReserved0) != 0;
}

}  // namespace

std::wstring ToSystemPath(const String& path) {
    if (HasZeroByte(path) || !IsValidUtf8(path)) {
        throw std::system_error(std::make_error_code(std::errc::invalid_argument));
    }
    std::wstring wide = ToWide(path);
    if (wide.starts_with(Unlimited)) {  // where the system takes '/' for a letter
        std::replace(wide.begin(), wide.end(), L'/', L'\\');
    }
    return GetFullSize(wide) > MaximumPlain ? MakeUnlimited(wide) : wide;
}

std::wstring MakeUnlimited(const std::wstring& path) {
    if (path.starts_with(Unlimited)) {
        return path;
    }
    std::wstring full = GetFullPath(path);
    if (full.starts_with(Unlimited) || full.starts_with(Device)) {
        return full;
    }
    if (full.starts_with(Network)) {
        return full.replace(0, Network.size(), UnlimitedNetwork);
    }
    return full.insert(0, Unlimited);
}

String FromSystemPath(std::wstring_view path) {
    std::wstring shown(path);
    if (shown.starts_with(UnlimitedNetwork)) {
        shown.replace(0, UnlimitedNetwork.size(), Network);
    } else if (shown.starts_with(Unlimited)) {
        shown.erase(0, Unlimited.size());
    }
    std::replace(shown.begin(), shown.end(), L'\\', L'/');
    return FromWide(shown);
}

PathState GetPathState(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        const DWORD error = GetLastError();
        if (!IsMissing(error)) {
            throw std::system_error(ToErrorCode(error));
        }
        return {};
    }
    const auto has = [attributes](DWORD flag) { return (attributes & flag) != 0; };
    return {true, has(FILE_ATTRIBUTE_DIRECTORY),
            has(FILE_ATTRIBUTE_REPARSE_POINT) && IsSurrogate(path), has(FILE_ATTRIBUTE_READONLY)};
}

}  // namespace Kernel
