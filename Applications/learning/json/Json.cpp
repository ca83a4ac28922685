#include "json/Json.h"

#include "Kernel/Utf.h"

#include <array>
#include <cstdio>

namespace LearningApp {

namespace {

std::string Join(const char* open, const std::vector<std::string>& parts, const char* close) {
    std::string text = open;
    for (const std::string& part : parts) {
        text += (&part == &parts.front() ? "" : ", ") + part;
    }
    return text + close;
}

}  // namespace

std::string EscapeHidden(std::string_view json) {
    const std::u16string units = Kernel::ToUtf16(json);
    std::string escaped;
    for (std::size_t position = 0; position < units.size();) {
        const bool isPair = units[position] >= 0xD800 && units[position] <= 0xDBFF;
        const std::u16string_view character =
            std::u16string_view(units).substr(position, isPair ? 2 : 1);
        position += character.size();
        const Kernel::String text = Kernel::FromUtf16(character);
        if (Kernel::MakePrintable(text) == text) {
            escaped += std::string_view(text);
            continue;
        }
        for (const char16_t unit : character) {
            std::array<char, 8> number{};
            std::snprintf(number.data(), number.size(), "\\u%04x", static_cast<unsigned>(unit));
            escaped += number.data();
        }
    }
    return escaped;
}

std::string QuoteJson(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        quoted.append(c == '"' || c == '\\' ? 1 : 0, '\\') += c;
    }
    return EscapeHidden(quoted + '"');
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
