#include "Kernel/AtomicFileOutStream.h"
#include "Kernel/FileSystem.h"
#include "Kernel/IoException.h"

#include "support/TestFolder.h"
#include "tests/StreamTexts.h"

#include <windows.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>

namespace Kernel {
namespace {

DWORD GetAttributes(const std::string& path) {
    return GetFileAttributesW(Support::ToPath(path).c_str());
}

TEST(AtomicFileOutStream, LeavesTheOldFileToThoseWhoReadIt) {
    if (GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr) {
        GTEST_SKIP() << "Wine 8 replaces no file that is open";
    }
    const Support::TestFolder folder;
    const std::string path = folder.Write("file", "old");
    const auto reader = FileInStream::Open(path);
    AtomicFileOutStream::Create(path)->Commit();
    EXPECT_EQ(ReadAll(*reader), "old");
    EXPECT_EQ(ReadFile(path), "");
}

// Whether the list of rights is kept can't be seen under Wine, which derives it from the mode of
// the file below.
TEST(AtomicFileOutStream, SucceedsAFileWithItsAttributesUnlessItIsReadOnlyOrNone) {
    const Support::TestFolder folder;
    const std::string path = folder.Write("file", "old");
    ASSERT_NE(SetFileAttributesW(Support::ToPath(path).c_str(), FILE_ATTRIBUTE_HIDDEN), 0);
    const auto replace = [](const std::string& target, const char* text) {
        const auto stream = AtomicFileOutStream::CreateSuccessor(target);
        Write(*stream, text);
        stream->Commit();
    };
    replace(path, "new");
    EXPECT_EQ(ReadFile(path), "new");
    EXPECT_EQ(GetAttributes(path) & FILE_ATTRIBUTE_HIDDEN, DWORD{FILE_ATTRIBUTE_HIDDEN});

    ASSERT_NE(SetFileAttributesW(Support::ToPath(path).c_str(), FILE_ATTRIBUTE_READONLY), 0);
    EXPECT_THROW(replace(path, "other"), IoException);
    EXPECT_THROW(replace(folder.At(""), "other"), IoException);
    EXPECT_THROW(replace("NUL", "other"), IoException);
    EXPECT_EQ(ReadFile(path), "new");
    EXPECT_EQ(Support::GetNames(folder.At("")), std::set<std::string>{"file"});
    EXPECT_TRUE(FileSystem::Delete(path));
}

TEST(AtomicFileOutStream, WaitsForThoseWhoHoldTheFileForAMoment) {
    const Support::TestFolder folder;
    const std::string path = folder.Write("file", "old");
    const auto hold = [&] {
        return CreateFileW(Support::ToPath(path).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                           0, nullptr);
    };
    for (const auto create : {AtomicFileOutStream::Create, AtomicFileOutStream::CreateSuccessor}) {
        const std::jthread other([held = hold()] {
            Sleep(50);
            CloseHandle(held);
        });
        const auto stream = create(path);
        Write(*stream, "new");
        stream->Commit();
        EXPECT_EQ(ReadFile(path), "new");
    }
    const HANDLE held = hold();
    EXPECT_THROW(AtomicFileOutStream::Create(path)->Commit(), IoException);
    CloseHandle(held);
    EXPECT_EQ(ReadFile(path), "new");
}

}  // namespace
}  // namespace Kernel
