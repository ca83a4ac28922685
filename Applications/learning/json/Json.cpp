#include "json/Json.h"

#include "Kernel/Utf.h"

#include <array>
#include <cstdio>

namespace LearningApp {

namespace {

/// Whether terminals may obey the character: C0, DEL and C1.
bool IsControl(char16_t unit) {
    return unit < 0x20 || (unit >= 0x7F && unit < 0xA0);
}

std::string Join(const char* open, const std::vector<std::string>& parts, const char* close) {
    std::string text = open;
    for (const std::string& part : parts) {
        text += (&part == &parts.front() ? "" : ", ") + part;
    }
    return text + close;
}

}  // namespace

std::string QuoteJson(std::string_view text) {
    std::u16string units;
    std::string quoted = "\"";
    const auto flush = [&] {
        quoted += std::string_view(Kernel::FromUtf16(units));
        units.clear();
    };
    for (const char16_t unit : Kernel::ToUtf16(text)) {
        if (IsControl(unit)) {
            flush();
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(unit));
            quoted += escape.data();
            continue;
        }
        if (unit == u'"' || unit == u'\\') {
            units += u'\\';
        }
        units += unit;
    }
    flush();
    return quoted + '"';
}

std::string MakeJsonObject(const std::vector<std::pair<std::string, std::string>>& members) {
    std::vector<std::string> parts;
    parts.reserve(members.size());
    for (const auto& [name, value] : members) {
        parts.push_back(QuoteJson(name) + ": " + value);
    }
    return Join("{", parts, "}");
}

std::string MakeJsonArray(const std::vector<std::string>& elements) {
    return Join("[", elements, "]");
}

}  // namespace LearningApp
