#include "Kernel/Utf.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace Kernel {

namespace {

constexpr char32_t Replacement = 0xFFFD;

/// A decoded code point, and whether its bytes were well-formed.
struct Decoded {
    char32_t codePoint;
    bool isValid;
};

/// The bytes that may follow a lead byte: how many, and the range of the first of them. A range
/// narrower than 80..BF excludes overlong forms, surrogates and values above U+10FFFF (Unicode
/// Standard, table 3-7).
struct Lead {
    int continuations;
    std::uint8_t low;
    std::uint8_t high;
    std::uint8_t bits;
};

constexpr Lead ClassifyLead(std::uint8_t byte) noexcept {
    if (byte < 0x80) {
        return {0, 0, 0, byte};
    }
    if (byte >= 0xC2 && byte <= 0xDF) {
        return {1, 0x80, 0xBF, static_cast<std::uint8_t>(byte & 0x1F)};
    }
    if (byte >= 0xE0 && byte <= 0xEF) {
        const auto low = static_cast<std::uint8_t>(byte == 0xE0 ? 0xA0 : 0x80);
        const auto high = static_cast<std::uint8_t>(byte == 0xED ? 0x9F : 0xBF);
        return {2, low, high, static_cast<std::uint8_t>(byte & 0x0F)};
    }
    if (byte >= 0xF0 && byte <= 0xF4) {
        const auto low = static_cast<std::uint8_t>(byte == 0xF0 ? 0x90 : 0x80);
        const auto high = static_cast<std::uint8_t>(byte == 0xF4 ? 0x8F : 0xBF);
        return {3, low, high, static_cast<std::uint8_t>(byte & 0x07)};
    }
    return {-1, 0, 0, 0};
}

/// Decodes one code point at `position`, or one maximal ill-formed sequence, and advances past it.
Decoded DecodeUtf8(std::string_view text, std::size_t& position) noexcept {
    Lead lead = ClassifyLead(static_cast<std::uint8_t>(text[position++]));
    if (lead.continuations < 0) {
        return {Replacement, false};
    }
    char32_t codePoint = lead.bits;
    for (int i = 0; i < lead.continuations; ++i) {
        const auto next = static_cast<std::uint8_t>(position < text.size() ? text[position] : 0);
        if (next < lead.low || next > lead.high) {
            return {Replacement, false};
        }
        codePoint = (codePoint << 6) | (next & 0x3F);
        ++position;
        lead.low = 0x80;
        lead.high = 0xBF;
    }
    return {codePoint, true};
}

/// Decodes one code point at `position`, or one unpaired surrogate, and advances past it.
char32_t DecodeUtf16(std::u16string_view text, std::size_t& position) noexcept {
    const char16_t unit = text[position++];
    if (unit < 0xD800 || unit > 0xDFFF) {
        return unit;
    }
    const char16_t next = position < text.size() ? text[position] : u'\0';
    if (unit > 0xDBFF || next < 0xDC00 || next > 0xDFFF) {
        return Replacement;
    }
    ++position;
    return 0x10000 + ((char32_t{unit} - 0xD800) << 10) + (char32_t{next} - 0xDC00);
}

void AppendUtf8(String& text, char32_t codePoint) {
    const auto tail = [codePoint](int shift) {
        return static_cast<char>(0x80 | ((codePoint >> shift) & 0x3F));
    };
    if (codePoint < 0x80) {
        text.push_back(static_cast<char>(codePoint));
    } else if (codePoint < 0x800) {
        const char bytes[] = {static_cast<char>(0xC0 | (codePoint >> 6)), tail(0)};
        text.append(bytes, sizeof bytes);
    } else if (codePoint < 0x10000) {
        const char bytes[] = {static_cast<char>(0xE0 | (codePoint >> 12)), tail(6), tail(0)};
        text.append(bytes, sizeof bytes);
    } else {
        const char bytes[] = {static_cast<char>(0xF0 | (codePoint >> 18)), tail(12), tail(6),
                              tail(0)};
        text.append(bytes, sizeof bytes);
    }
}

void AppendUtf16(std::u16string& text, char32_t codePoint) {
    if (codePoint < 0x10000) {
        text.push_back(static_cast<char16_t>(codePoint));
    } else {
        text.push_back(static_cast<char16_t>(0xD800 + ((codePoint - 0x10000) >> 10)));
        text.push_back(static_cast<char16_t>(0xDC00 + ((codePoint - 0x10000) & 0x3FF)));
    }
}

}  // namespace

std::u16string ToUtf16(std::string_view text) {
    std::u16string result;
    result.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        AppendUtf16(result, DecodeUtf8(text, position).codePoint);
    }
    return result;
}

String FromUtf16(std::u16string_view text) {
    String result;
    result.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        AppendUtf8(result, DecodeUtf16(text, position));
    }
    return result;
}

bool IsValidUtf8(std::string_view text) noexcept {
    for (std::size_t position = 0; position < text.size();) {
        if (!DecodeUtf8(text, position).isValid) {
            return false;
        }
    }
    return true;
}

String ReplaceInvalidUtf8(const String& text) {
    if (IsValidUtf8(text)) {
        return text;
    }
    String result;
    result.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        AppendUtf8(result, DecodeUtf8(text, position).codePoint);
    }
    return result;
}

namespace {

struct CodePoints {
    char32_t first;
    char32_t last;
};

/// What acts on a text without being seen in it: general category Cc, Zl, Zp and Cf (Unicode
/// Character Database, version 14), bidirectional controls among the last. Not those of Cf that are
/// seen, such as the signs that Arabic puts above numbers, nor the joiners U+200C and U+200D,
/// without which Persian words and many emoji are others.
constexpr CodePoints Hidden[] = {
    {0x00, 0x1F},       {0x7F, 0x9F},       {0xAD, 0xAD},       {0x61C, 0x61C},
    {0x180E, 0x180E},   {0x200B, 0x200B},   {0x200E, 0x200F},   {0x2028, 0x202E},
    {0x2060, 0x2064},   {0x2066, 0x206F},   {0xFEFF, 0xFEFF},   {0xFFF9, 0xFFFB},
    {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A}, {0xE0001, 0xE0001}, {0xE0020, 0xE007F},
};

bool IsHidden(char32_t codePoint) noexcept {
    return std::ranges::any_of(Hidden, [codePoint](const CodePoints& range) {
        return codePoint >= range.first && codePoint <= range.last;
    });
}

String ReplaceHidden(std::string_view text, char32_t exception) {
    String printable;
    printable.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        const char32_t codePoint = DecodeUtf8(text, position).codePoint;
        AppendUtf8(printable, IsHidden(codePoint) && codePoint != exception ? U'?' : codePoint);
    }
    return printable;
}

}  // namespace

String MakePrintable(std::string_view text) {
    return ReplaceHidden(text, U'?');
}

String MakePrintableLines(std::string_view text) {
    return ReplaceHidden(text, U'\n');
}

}  // namespace Kernel
