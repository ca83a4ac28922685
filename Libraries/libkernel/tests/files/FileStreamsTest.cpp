#include "Kernel/FileStreams.h"

#include "support/TestFolder.h"
#include "tests/StreamTexts.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace Kernel {
namespace {

TEST(FileStreams, ReadAsMemoryDoesWhateverTheirBuffers) {
    const Support::TestFolder folder;
    const std::string text = MakeText(1000);
    WriteFile(folder.At("file"), text);
    MemoryInOutStream memory;
    Write(memory, text);
    std::vector<Counted<SeekableInStream>> files{FileInStream::Open(folder.At("file"))};
    for (const std::size_t bufferSize : {0, 1, 7, 13, 64, 999, 5000}) {
        files.push_back(FastFileInStream::Open(folder.At("file"), bufferSize));
    }
    std::mt19937 random(1);
    for (int step = 0; step < 5000; ++step) {
        const bool isSeek = random() % 2 == 0;
        // Mostly near, where a buffer can be used again; else anywhere, far beyond the end, and
        // where 32 bits would come round to the text again.
        const std::uint64_t near = (memory.GetPosition() + random() % 41) % 1100;
        const std::uint64_t lap = random() % 16 == 0 ? std::uint64_t{1} << 32 : 0;
        const std::uint64_t target =
            random() % 8 == 0 ? ~std::uint64_t{0} >> (random() % 64) : near - near % 20 + lap;
        memory.Seek(isSeek ? target : memory.GetPosition());
        const std::size_t count = random() % 30;
        const std::string expected = ReadText(memory, count);
        for (const auto& file : files) {
            if (isSeek) {
                file->Seek(target);
            }
            ASSERT_EQ(ReadText(*file, count), expected);
            ASSERT_EQ(file->GetPosition(), memory.GetPosition());
            ASSERT_EQ(file->GetSize(), text.size());
        }
    }
}

TEST(FileStreams, CopyWholeFilesFromWhereTheyStand) {
    const Support::TestFolder folder;
    const std::string text = MakeText(600'001);  // more than two buffers
    const auto file = FileOutStream::Create(folder.At("file"));
    Write(*file, text.substr(0, 1000));
    Write(*file, text.substr(1000));
    EXPECT_TRUE(ReadFile(folder.At("file")) == text);  // `file` is still open

    const auto source = FastFileInStream::Open(folder.At("file"), 100);
    EXPECT_EQ(ReadText(*source, 50), text.substr(0, 50));
    EXPECT_EQ(source->CopyTo(*FileOutStream::Create(folder.At("copy"))), text.size() - 50);
    EXPECT_TRUE(ReadFile(folder.At("copy")) == text.substr(50));

    WriteFile(folder.At("copy"), "short");
    EXPECT_EQ(ReadFile(folder.At("copy")), "short");
}

}  // namespace
}  // namespace Kernel
