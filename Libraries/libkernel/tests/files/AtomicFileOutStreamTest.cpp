#include "Kernel/AtomicFileOutStream.h"
#include "Kernel/FileSystem.h"
#include "Kernel/IoException.h"

#include "support/TestFolder.h"
#include "support/Threads.h"
#include "tests/StreamTexts.h"

#include <gtest/gtest.h>

#include <atomic>
#include <iterator>

namespace Kernel {
namespace {

auto CountFiles(const Support::TestFolder& folder) {
    return std::ssize(Support::GetNames(folder.At("")));
}

TEST(AtomicFileOutStream, ReplacesAFileOnceItIsCommitted) {
    const Support::TestFolder folder;
    const String path = folder.At("file");
    WriteFile(path, "old");
    {
        const auto stream = AtomicFileOutStream::Create(path);
        Write(*stream, "new");
        EXPECT_EQ(ReadFile(path), "old");
        stream->Commit();
    }
    EXPECT_EQ(ReadFile(path), "new");
    EXPECT_EQ(CountFiles(folder), 1);
}

TEST(AtomicFileOutStream, LeavesNothingBehindWhenItIsGivenUpOrFails) {
    const Support::TestFolder folder;
    WriteFile(folder.At("file"), "old");
    Write(*AtomicFileOutStream::Create(folder.At("file")), "new");
    Write(*AtomicFileOutStream::Create(folder.At("other")), "new");
    EXPECT_EQ(ReadFile(folder.At("file")), "old");
    EXPECT_EQ(CountFiles(folder), 1);

    EXPECT_THROW(AtomicFileOutStream::Create(folder.At("missing/file")), IoException);
    EXPECT_THROW(AtomicFileOutStream::Create(folder.At("file/below")), IoException);
    ASSERT_TRUE(FileSystem::CreateDirectoryRecursive(folder.At("full/sub")));
    EXPECT_THROW(AtomicFileOutStream::Create(folder.At("full"))->Commit(), IoException);
    const auto cut = AtomicFileOutStream::Create(folder.At(std::string_view("file\0", 5)));
    EXPECT_THROW(cut->Commit(), IoException);
    EXPECT_EQ(ReadFile(folder.At("file")), "old");
    EXPECT_TRUE(FileSystem::Exists(folder.At("full/sub")));
}

TEST(AtomicFileOutStream, TakesNewNamesOverNothingThatIsThere) {
    const Support::TestFolder folder;
    WriteFile(folder.At("file"), "old");
    ASSERT_TRUE(FileSystem::CreateDirectoryRecursive(folder.At("folder")));
    {
        const auto stream = AtomicFileOutStream::Create(folder.At("file"));
        Write(*stream, "new");
        for (const char* const name : {"file", "folder"}) {
            EXPECT_FALSE(stream->CommitNew(folder.At(name))) << name;
        }
        EXPECT_THROW(static_cast<void>(stream->CommitNew(folder.At("none/file"))), IoException);
        EXPECT_THROW(static_cast<void>(stream->CommitNew(folder.At(std::string_view("a\0b", 3)))),
                     IoException);
        EXPECT_TRUE(stream->CommitNew(folder.At("other")));
    }
    EXPECT_EQ(ReadFile(folder.At("file")), "old");
    EXPECT_EQ(ReadFile(folder.At("other")), "new");
    EXPECT_EQ(CountFiles(folder), 3);
    std::atomic<int> taken = 0;
    Support::RunOnThreads(8, [&](int thread) {
        const auto stream = AtomicFileOutStream::Create(folder.At("one"));
        Write(*stream, std::string(1000, static_cast<char>('a' + thread)));
        taken += stream->CommitNew(folder.At("one")) ? 1 : 0;
    });
    EXPECT_EQ(taken, 1);
    EXPECT_EQ(CountFiles(folder), 4);
}

TEST(AtomicFileOutStream, IsWholeWhenManyThreadsWriteIt) {
    const Support::TestFolder folder;
    const String path = folder.At("file");
    Support::RunOnThreads(8, [&](int thread) {
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
