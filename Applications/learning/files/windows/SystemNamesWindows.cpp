#include "files/Paths.h"
#include "files/SystemNames.h"

#include <windows.h>

#include <filesystem>
#include <string_view>

namespace LearningApp {

namespace {

/// The path that the system makes of `path`; empty if it can't.
std::wstring GetFullPath(const std::wstring& path) {
    std::wstring full(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    full.resize(
        GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
    return full;
}

/// Whether the system takes `path` for a device, as "NUL", or as "com1.png" before Windows 11.
bool MeansDevice(const std::filesystem::path& path) {
    return GetFullPath(path.native()).starts_with(LR"(\\.\)");
}

}  // namespace

bool IsDevice(const std::string& path) {
    // Nobody who writes "aux.png" means a device; names of pipes have a prefix that says so.
    const std::filesystem::path place = ToPath(path);
    const bool isSaid = GetFullPath(place.native()) == place.native();
    return MeansDevice(place) && (isSaid || !place.has_extension());
}

std::string FindNameFault(const std::string& path) {
    const std::filesystem::path place = ToPath(path);
    const std::wstring name = place.filename().native();
    if (MeansDevice(place)) {
        return "Windows takes that name for a device";
    }
    const bool isWrong = name.find_first_of(L"<>:\"|?*") != std::wstring::npos ||
                         name.ends_with(L'.') || name.ends_with(L' ') ||
                         name.find_first_not_of(L' ') == std::wstring::npos;
    return isWrong ? "Windows has no such names of files" : "";
}

std::string FoldCase(const std::string& path) {
    std::wstring folded = ToPath(path).native();
    CharUpperBuffW(folded.data(), static_cast<DWORD>(folded.size()));
    return FromPath(folded);
}

}  // namespace LearningApp
