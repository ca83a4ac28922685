#include "Kernel/IoException.h"
#include "Kernel/LocalisedString.h"

#include "localisation/Catalogue.h"
#include "support/TestFolder.h"
#include "support/Threads.h"
#include "tests/StreamTexts.h"

#include <gtest/gtest.h>

#include <bit>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace Kernel {
namespace {

using namespace std::string_literals;

using Entries = std::vector<std::pair<std::string, std::string>>;

std::string ToBytes(std::uint32_t number, std::endian order) {
    std::string bytes;
    for (int i = 0; i < 4; ++i) {
        bytes += static_cast<char>(number >> 8 * (order == std::endian::little ? i : 3 - i));
    }
    return bytes;
}

/// A catalogue as msgfmt makes it, without a hash table: keys as they are in the file.
std::string MakeCatalogue(const Entries& entries, std::endian order = std::endian::little) {
    const auto count = static_cast<std::uint32_t>(entries.size());
    std::string file;
    for (const std::uint32_t n : {0x950412DEU, 0U, count, 28U, 28 + 8 * count, 0U, 0U}) {
        file += ToBytes(n, order);
    }
    std::string tables[2];
    std::string texts;
    for (const auto& [key, translation] : entries) {
        for (int i = 0; i < 2; ++i) {
            const std::string& text = i == 0 ? key : translation;
            const std::size_t offset = 28 + 16 * entries.size() + texts.size();
            tables[i] += ToBytes(static_cast<std::uint32_t>(text.size()), order) +
                         ToBytes(static_cast<std::uint32_t>(offset), order);
            texts += text + '\0';
        }
    }
    return file + tables[0] + tables[1] + texts;
}

/// The catalogue of the process, which has none again afterwards.
class LocalisedStringTest : public testing::Test {
protected:
    ~LocalisedStringTest() override { LocalisedString::SetCatalogue(""); }

    bool Set(const std::string& content) const {
        return LocalisedString::SetCatalogue(m_folder.Write("texts.mo", content));
    }

    const Support::TestFolder m_folder;
};

const Entries Texts{{"", "Content-Type: text/plain; charset=utf-8\n"},
                    {"Door\4Open", "Öffnen"},
                    {"Open", "Offen"},
                    {"Door\4%1 key\0%1 keys"s, "%1 Schlüssel\0%1 Schlüssel!"s},
                    {"Door\4Shut.\r\n\r\nReally.", "Zu.\r\n\r\nWirklich."},
                    {"Door\4Lock", ""}};

TEST_F(LocalisedStringTest, IsTranslatedByContextAndText) {
    const LocalisedString open("Door", "Open");
    EXPECT_EQ(open.Translate(), "Open");
    for (const std::endian order : {std::endian::little, std::endian::big}) {
        ASSERT_TRUE(Set(MakeCatalogue(Texts, order)));
        EXPECT_EQ(open.Translate(), "Öffnen");
        EXPECT_EQ(LocalisedString("", "Open").Translate(), "Offen");
        EXPECT_EQ(LocalisedString("Shop", "Open").Translate(), "Open");
        EXPECT_EQ(LocalisedString("Door", "%1 key").Translate(), "%1 Schlüssel");
        EXPECT_EQ(LocalisedString(Translatable("Door", "Shut.\r\n\r\nReally.")).Translate(),
                  "Zu.\r\n\r\nWirklich.");
        EXPECT_EQ(LocalisedString("Door", "Lock").Translate(), "Lock");
        EXPECT_EQ(LocalisedString("", "").Translate(), "");
        EXPECT_EQ(LocalisedString::CreateFakeFromString("Open").Translate(), "Open");
        EXPECT_TRUE(LocalisedString::SetCatalogue(""));
        EXPECT_EQ(open.Translate(), "Open");
    }
}

TEST_F(LocalisedStringTest, KeepsItsTranslationsWhenAFileIsRefused) {
    const std::string whole = MakeCatalogue({{"Open", "Offen"}});
    const auto replace = [&whole](std::size_t at, const std::string& bytes) {
        return std::string(whole).replace(at, bytes.size(), bytes);
    };
    ASSERT_TRUE(Set(whole));
    const struct {
        std::string content;
        const char* reason;
    } cases[] = {
        {"", "the catalogue is cut off"},
        {std::string(100, ' '),
         "this is no catalogue of translations, or one of an unknown version"},
        {replace(6, "\2"), "this is no catalogue of translations, or one of an unknown version"},
        {replace(8, "\2"), "the catalogue is damaged"},     // entries
        {replace(11, "\x7F"), "the catalogue is damaged"},  // entries, and more than fit
        {replace(12, "\xFF\xFF\xFF\xFF"), "the catalogue is cut off"},  // table of keys
        {replace(28, "\xFF\xFF\xFF\xFF"), "the catalogue is damaged"},  // length of the key
        {replace(32, "\xFF\xFF\xFF\xFF"), "the catalogue is damaged"},  // its place
        {replace(28, "\3"), "the catalogue is damaged"},                // no zero byte after it
        {whole.substr(0, whole.size() - 1), "the catalogue is damaged"},
        {MakeCatalogue({{"Open", "\xD6"}}), "the catalogue is not in UTF-8"},
        {MakeCatalogue({{"\xD6", "O"}}), "the catalogue is not in UTF-8"},
        {MakeCatalogue({{"", "Content-Type: text/plain; charset=ISO-8859-1\n"}}),
         "the catalogue is not in UTF-8"},
        {std::string((16 << 20) + 1, ' '), "the catalogue is larger than any should be"},
    };
    for (const auto& [content, reason] : cases) {
        testing::internal::CaptureStderr();
        EXPECT_FALSE(Set(content));
        EXPECT_EQ(
            testing::internal::GetCapturedStderr(),
            "The translations in " + m_folder.At("texts.mo") + " can't be used: " + reason + "\n");
        EXPECT_EQ(LocalisedString("", "Open").Translate(), "Offen");
    }
    testing::internal::CaptureStderr();
    const std::string missing = m_folder.At("missing.mo");
    EXPECT_FALSE(LocalisedString::SetCatalogue(missing));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("cannot open " + missing + ": "),
              std::string::npos);
}

TEST(Catalogue, RefusesTextsThatShareTheirBytes) {
    std::string key(100'000, 'a');
    std::string file = MakeCatalogue({{key, "b"}, {"c", "d"}});
    file.replace(36, 8, file.substr(28, 8));  // the second key is the first one
    EXPECT_EQ(GetError([&] { const Catalogue catalogue(file); }), "the catalogue is damaged");
}

TEST(Catalogue, IsReadOrRefusedWhateverItsBytesAre) {
    const std::string whole = MakeCatalogue(Texts);
    std::mt19937 random(1);
    int read = 0;
    for (int i = 0; i < 20'000; ++i) {
        std::string file = whole.substr(0, i % 2 == 0 ? whole.size() : random() % whole.size());
        for (int changes = i % 3; changes > 0 && !file.empty(); --changes) {
            file[random() % std::min<std::size_t>(file.size(), 140)] = static_cast<char>(random());
        }
        read += GetError([&] { Catalogue(file).Find("Door", "Open"); }) == "no IoException" ? 1 : 0;
    }
    EXPECT_GT(read, 20'000 / 6 - 100);  // those that are whole
    EXPECT_LT(read, 15'000);
}

TEST_F(LocalisedStringTest, IsTranslatedWhileTheCatalogueIsReplaced) {
    const std::string one = m_folder.Write("one.mo", MakeCatalogue({{"Door\4Open", "Offen"}}));
    const std::string two = m_folder.Write("two.mo", MakeCatalogue({{"Door\4Open", "Auf"}}));
    Support::RunOnThreads(3, [&](int thread) {
        const LocalisedString text("Door", "Open");
        for (int i = 0; i < 200; ++i) {
            if (thread == 0) {
                EXPECT_TRUE(LocalisedString::SetCatalogue(i % 2 == 0 ? one : two));
            } else {
                EXPECT_NE(text.Translate(), "");
            }
        }
    });
}

}  // namespace
}  // namespace Kernel
