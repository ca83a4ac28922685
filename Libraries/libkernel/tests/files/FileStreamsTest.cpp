#include "Kernel/FileStreams.h"
#include "Kernel/IoException.h"
#include "Kernel/MemoryInOutStream.h"

#include "tests/TestSupport.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <random>
#include <string>

namespace Kernel {
namespace {

std::string MakeText(std::size_t size) {
    std::mt19937 random(1);
    std::string text(size, '\0');
    for (char& character : text) {
        character = static_cast<char>(random());
    }
    return text;
}

/// The bytes that `stream` gives for one ReadFully() of `count`.
std::string ReadText(InStream& stream, std::size_t count) {
    std::string text(count, '\0');
    text.resize(stream.ReadFully(std::as_writable_bytes(std::span(text))));
    return text;
}

class FastFileInStreamOf : public testing::TestWithParam<std::size_t> {};

TEST_P(FastFileInStreamOf, ReadsAsTheOtherStreamsDo) {
    const TemporaryFolder folder;
    const std::string text = MakeText(1000);
    WriteFile(folder / "file", text);
    const auto bytes = std::as_bytes(std::span(text));
    MemoryInOutStream memory({bytes.begin(), bytes.end()});
    const auto plain = FileInStream::Open(folder / "file");
    const auto fast = FastFileInStream::Open(folder / "file", GetParam());

    std::mt19937 random(1);
    for (int step = 0; step < 5000; ++step) {
        if (random() % 2 == 0) {
            // Mostly near, where a buffer can be used again; else anywhere, and far beyond the end.
            const std::uint64_t near = (memory.GetPosition() + random() % 41) % 1100;
            const std::uint64_t target =
                random() % 8 == 0 ? ~0UL >> (random() % 64) : near - near % 20;
            memory.Seek(target);
            plain->Seek(target);
            fast->Seek(target);
        }
        const std::size_t count = random() % 30;
        const std::string expected = ReadText(memory, count);
        ASSERT_EQ(ReadText(*plain, count), expected);
        ASSERT_EQ(ReadText(*fast, count), expected);
        ASSERT_EQ(plain->GetPosition(), memory.GetPosition());
        ASSERT_EQ(fast->GetPosition(), memory.GetPosition());
    }
    EXPECT_EQ(fast->GetSize(), text.size());
}

INSTANTIATE_TEST_SUITE_P(BufferSizes, FastFileInStreamOf,
                         testing::Values(0, 1, 7, 13, 64, 999, 5000));

TEST(FileStreams, CopyWholeFilesFromWhereTheyStand) {
    const TemporaryFolder folder;
    const std::string text = MakeText(600'001);  // more than two buffers
    const auto file = FileOutStream::Create(folder / "file");
    file->Write(std::as_bytes(std::span(text).first(1000)));
    file->Write(std::as_bytes(std::span(text).subspan(1000)));
    EXPECT_TRUE(ReadFile(folder / "file") == text);  // `file` is still open

    const auto source = FastFileInStream::Open(folder / "file", 100);
    EXPECT_EQ(ReadText(*source, 50), text.substr(0, 50));
    EXPECT_EQ(source->CopyTo(*FileOutStream::Create(folder / "copy")), text.size() - 50);
    EXPECT_TRUE(ReadFile(folder / "copy") == text.substr(50));

    WriteFile(folder / "copy", "short");
    EXPECT_EQ(ReadFile(folder / "copy"), "short");
}

std::string GetError(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const IoException& error) {
        return error.what();
    }
    return "no IoException";
}

TEST(FileStreams, SayInOneLineWhatFailedAndWhy) {
    const TemporaryFolder folder;
    WriteFile(folder / "file", "text");
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    const std::string place = (folder / "").c_str();
    const auto read = [](const String& path) { return [path] { ReadFile(path); }; };
    const auto write = [](const String& path) { return [path] { WriteFile(path, "x"); }; };

    EXPECT_EQ(GetError(read(folder / "missing")),
              "cannot open " + place + "missing: No such file or directory");
    EXPECT_EQ(GetError(read(folder / "")), "cannot open " + place + ": Is a directory");
    EXPECT_EQ(GetError(write(folder / "")), "cannot create " + place + ": Is a directory");
    EXPECT_EQ(GetError(write(folder / "file/x")),
              "cannot create " + place + "file/x: Not a directory");
    EXPECT_EQ(GetError(write("/dev/full")), "cannot write /dev/full: No space left on device");
    EXPECT_EQ(GetError(read(folder / "pipe")), "cannot read " + place + "pipe: Illegal seek");
    EXPECT_EQ(GetError(read(folder / "a\nb\xFF")),
              "cannot open " + place + "a?b\uFFFD: No such file or directory");
    EXPECT_EQ(GetError(read(folder / std::string_view("file\0x", 6))),
              "cannot open " + place + "file?x: Invalid argument");
}

}  // namespace
}  // namespace Kernel
