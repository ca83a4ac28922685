#include "packages/PackagePage.h"

#include "Kernel/Utf.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

namespace Service {

namespace {

std::string EscapeHtml(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

/// `name` for a URL: all but the unreserved characters of RFC 3986 escaped.
std::string EscapeUrl(std::string_view name) {
    constexpr std::string_view Unreserved =
        "0123456789-._~ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    constexpr std::string_view Digits = "0123456789ABCDEF";
    std::string escaped;
    for (const char c : name) {
        const auto code = static_cast<unsigned char>(c);
        if (Unreserved.find(c) != std::string_view::npos) {
            escaped += c;
        } else {
            escaped += {'%', Digits[code >> 4], Digits[code & 0xF]};
        }
    }
    return escaped;
}

std::string FormatSize(std::uint64_t size) {
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%.1f MB", static_cast<double>(size) / 1e6);
    return size < 100'000 ? std::to_string(size) + " bytes" : text.data();
}

}  // namespace

std::string FormatPackagePage(const std::vector<PackageFolder::Entry>& entries,
                              const std::vector<OtherPath>& others) {
    std::string page =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head><meta charset=\"utf-8\">"
        "<title>Model packages</title></head>\n<body>\n<h1>Model packages</h1>\n";
    if (entries.empty()) {
        page += "<p>There are none.</p>\n";
    }
    page += "<table>\n";
    for (const auto& [name, size] : entries) {
        const std::string text = EscapeHtml(Kernel::MakePrintable(name).c_str());
        page += "<tr><td><a href=\"" + EscapeUrl(name) + "\">" + text + "</a></td><td>" +
                FormatSize(size) + "</td></tr>\n";
    }
    page += "</table>\n";
    for (const auto& [path, purpose] : others) {
        page += "<p><code>" + EscapeHtml(path) + "</code>: " + EscapeHtml(purpose) + "</p>\n";
    }
    return page + "</body>\n</html>\n";
}

}  // namespace Service
