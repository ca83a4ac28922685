#include "Kernel/AtomicFileOutStream.h"

#include "tests/TestSupport.h"

#include <filesystem>

namespace Kernel {
namespace {

auto CountFiles(const TemporaryFolder& folder) {
    return std::distance(std::filesystem::directory_iterator((folder / "").c_str()), {});
}

TEST(AtomicFileOutStream, ReplacesAFileOnceItIsCommitted) {
    const TemporaryFolder folder;
    const String path = folder / "file";
    WriteFile(path, "old");
    const auto reader = FileInStream::Open(path);
    {
        const auto stream = AtomicFileOutStream::Create(path);
        Write(*stream, "new");
        EXPECT_EQ(ReadFile(path), "old");
        stream->Commit();
    }
    EXPECT_EQ(ReadAll(*reader), "old");
    EXPECT_EQ(ReadFile(path), "new");
    EXPECT_EQ(CountFiles(folder), 1);
}

TEST(AtomicFileOutStream, LeavesNothingBehindWhenItIsGivenUpOrFails) {
    const TemporaryFolder folder;
    WriteFile(folder / "file", "old");
    Write(*AtomicFileOutStream::Create(folder / "file"), "new");
    Write(*AtomicFileOutStream::Create(folder / "other"), "new");
    EXPECT_EQ(ReadFile(folder / "file"), "old");
    EXPECT_EQ(CountFiles(folder), 1);

    EXPECT_THROW(AtomicFileOutStream::Create(folder / "missing/file"), IoException);
    EXPECT_THROW(AtomicFileOutStream::Create(folder / "file/below"), IoException);
    ASSERT_TRUE(FileSystem::CreateDirectoryRecursive(folder / "full/sub"));
    EXPECT_THROW(AtomicFileOutStream::Create(folder / "full")->Commit(), IoException);
    const auto cut = AtomicFileOutStream::Create(folder / std::string_view("file\0", 5));
    EXPECT_THROW(cut->Commit(), IoException);
    EXPECT_EQ(ReadFile(folder / "file"), "old");
    EXPECT_TRUE(FileSystem::Exists(folder / "full/sub"));
}

TEST(AtomicFileOutStream, IsWholeWhoeverElseWritesIt) {
    const TemporaryFolder folder;
    const String path = folder / "file";
    RunOnThreads(8, [&](int thread) {
        const std::string text(100'000, static_cast<char>('a' + thread));
        for (int i = 0; i < 10; ++i) {
            const auto stream = AtomicFileOutStream::Create(path);
            Write(*stream, text);
            stream->Commit();
            const std::string seen = ReadFile(path);
            EXPECT_TRUE(seen == std::string(100'000, seen.back()));
        }
    });
    EXPECT_EQ(CountFiles(folder), 1);
}

}  // namespace
}  // namespace Kernel
