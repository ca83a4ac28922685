#include "Kernel/Utf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

namespace Kernel {
namespace {

using namespace std::string_view_literals;

TEST(Utf, ReplacesEachMaximalIllFormedSequence) {
    // The first four are the examples of the Unicode Standard, version 15, tables 3-8 to 3-11.
    const std::pair<std::string_view, std::u16string_view> cases[] = {
        {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41",
         u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA"},
        {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41",
         u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA"},
        {"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA\uFFFD\uFFFDB"},
        {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", u"\uFFFD\uFFFD\uFFFD\uFFFDA"},
        {"\xE0\x9F\xBF\xF0\x8F\xBF\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"a\xF4\x90\x80\x80", u"a\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"a\xF0\x9F\x98", u"a\uFFFD"},
        {"\xE2\x82", u"\uFFFD"},
        {"\xC3\0b"sv, u"\uFFFD\0b"sv},
        {"\xC3\xA4\xC3\xC3\xA4", u"\u00E4\uFFFD\u00E4"},
    };
    for (const auto& [bytes, expected] : cases) {
        EXPECT_EQ(ToUtf16(bytes), expected) << bytes;
        EXPECT_EQ(ReplaceInvalidUtf8(bytes), FromUtf16(expected)) << bytes;
        EXPECT_FALSE(IsValidUtf8(bytes)) << bytes;
    }
    for (int byte = 0x80; byte <= 0xFF; ++byte) {
        const String text(2, static_cast<char>(byte));
        EXPECT_EQ(ToUtf16(text), u"\uFFFD\uFFFD") << byte;
        EXPECT_FALSE(IsValidUtf8(text)) << byte;
    }
}

/// All code points in their order, as UTF-16.
std::u16string MakeAllCodePoints() {
    std::u16string all;
    for (char32_t unit = 0; unit <= 0xFFFF; ++unit) {
        if (unit < 0xD800 || unit > 0xDFFF) {
            all.push_back(static_cast<char16_t>(unit));
        }
    }
    for (char16_t high = 0xD800; high <= 0xDBFF; ++high) {
        for (char16_t low = 0xDC00; low <= 0xDFFF; ++low) {
            all += {high, low};
        }
    }
    return all;
}

TEST(Utf, KeepsEveryCodePointOnTheWayToUtf8AndBack) {
    const std::u16string all = MakeAllCodePoints();
    const String text = FromUtf16(all);
    EXPECT_EQ(text.size(), 0x80 + 2 * 0x780 + 3 * (0x10000 - 0x1000) + 4 * 0x100000);
    EXPECT_TRUE(ToUtf16(text) == all);
    EXPECT_TRUE(IsValidUtf8(text));
    EXPECT_EQ(ReplaceInvalidUtf8(text).data(), text.data());
    EXPECT_EQ(FromUtf16(u"z\u00DF\u20AC\U0001F600"), "z\xC3\x9F\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(Utf, ShowsControlCharactersAsQuestionMarks) {
    EXPECT_EQ(MakePrintable("\0\t\n\x1F !~\x7F\u0080\u009F\u00A0ä\xFF"sv),
              "???? !~???\u00A0ä\uFFFD");
    EXPECT_EQ(MakePrintableLines("\x1B[1m\n\r\u0085\n"), "?[1m\n??\n");
}

TEST(Utf, ShowsWhatIsNotSeenAsQuestionMarks) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"learning resume \u202E1:J\u202C", "learning resume ?1:J?"},
        {"a\u202A\u202B\u202Db", "a???b"},                      // embeddings, overrides
        {"a\u2066\u2067\u2068\u2069b", "a????b"},               // isolates
        {"\u05D0\u200E\u0627\u200F\u061C", "\u05D0?\u0627??"},  // marks
        {"J\u200B\u2060\uFEFF\u00AD\u180E1", "J?????1"},        // of no width
        {"a\u2028b\u2029c", "a?b?c"},                           // ends of lines
        {"J\U000E0001\U000E0041\U000E007F", "J???"},            // tags
        {"\u06CC\u200C\u062E \u0915\u094D\u200D\u0937 \U0001F469\u200D\U0001F4BB \u2764\uFE0F", ""},
        {"\u0600\u06DD\u070F\u08E2 \u2007\u2010\u202F\u3000\uFFFC e\u0301", ""},  // are seen
    };
    for (const auto& [text, shown] : cases) {
        EXPECT_EQ(MakePrintable(text), shown.empty() ? text : shown);
        EXPECT_EQ(MakePrintableLines(text), shown.empty() ? text : shown);
    }
    // As the Unicode Character Database, version 14, counts them: 65 of Cc, 2 of Zl and Zp, and 163
    // of Cf but for 22 that are seen and the two joiners.
    const String shown = MakePrintable(FromUtf16(MakeAllCodePoints()));
    EXPECT_EQ(std::ranges::count(std::string_view(shown), '?'), 1 + 65 + 2 + 163 - 24);
}

TEST(Utf, ReplacesEachUnpairedSurrogate) {
    EXPECT_EQ(FromUtf16(u"\xD83D"), "\uFFFD");
    EXPECT_EQ(FromUtf16(u"a\xD83D\xD83D\xDE00z"), "a\uFFFD😀z");
    EXPECT_EQ(FromUtf16(u"\xDE00\xD83Dz\xDE00"), "\uFFFD\uFFFDz\uFFFD");
}

}  // namespace
}  // namespace Kernel
