#include "Kernel/FileStreams.h"

#include "support/TestFolder.h"
#include "tests/StreamTexts.h"

#include <windows.h>
#include <gtest/gtest.h>

#include <string>

namespace Kernel {
namespace {

/// The system's words for `code`, which are in the user's language.
std::string Describe(DWORD code) {
    wchar_t text[500]{};
    FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0,
                   text, 500, nullptr);
    std::string words = Support::FromPath(text);
    return words.substr(0, words.find_last_not_of("\r\n .") + 1);
}

TEST(FileStreams, SayInOneLineWhatFailedAndWhy) {
    const Support::TestFolder folder;
    folder.Write("file", "text");
    const std::string place = folder.At("");
    const auto read = [](const String& path) { return GetError([&] { ReadFile(path); }); };
    const auto write = [](const String& path) { return GetError([&] { WriteFile(path, "x"); }); };
    const std::string missing = Describe(ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(missing.find_first_of("\r\n"), std::string::npos);

    EXPECT_EQ(read(place + "missing"), "cannot open " + place + "missing: " + missing);
    EXPECT_EQ(read(place), "cannot open " + place + ": it is a folder, a pipe or a device");
    EXPECT_EQ(read("NUL"), "cannot open NUL: it is a folder, a pipe or a device");
    for (const std::string_view name :
         {std::string_view("file\0x", 6), std::string_view("file\xFF")}) {
        const std::string reason = read(place + std::string(name));
        EXPECT_EQ(reason.find("cannot open " + place + "file"), 0U) << reason;
        EXPECT_NE(reason.find(std::make_error_code(std::errc::invalid_argument).message()),
                  std::string::npos)
            << reason;
    }
    EXPECT_EQ(write(place + "file/x"),
              "cannot create " + place + "file/x: " + Describe(ERROR_PATH_NOT_FOUND));
    try {
        ReadFile(place + "missing");
        ADD_FAILURE();
    } catch (const IoException& error) {
        EXPECT_EQ(error.GetCode(), std::errc::no_such_file_or_directory);
    }
    EXPECT_TRUE(IsSpaceShort({ERROR_DISK_FULL, std::system_category()}));
    EXPECT_TRUE(IsSpaceShort({1295, std::system_category()}));  // the user's share
    EXPECT_FALSE(IsSpaceShort({ERROR_ACCESS_DENIED, std::system_category()}));
    EXPECT_FALSE(IoException("damaged").GetCode());
}

}  // namespace
}  // namespace Kernel
