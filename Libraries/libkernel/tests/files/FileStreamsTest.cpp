#include "Kernel/FileStreams.h"

#include "support/TestFolder.h"
#include "tests/StreamTexts.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <random>
#include <string>
#include <string_view>
#include <thread>
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
        // Mostly near, where a buffer can be used again; else anywhere, and far beyond the end.
        const std::uint64_t near = (memory.GetPosition() + random() % 41) % 1100;
        const std::uint64_t target = random() % 8 == 0 ? ~0UL >> (random() % 64) : near - near % 20;
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

TEST(FileStreams, WriteAllThatSignalsCutShort) {
    const Support::TestFolder folder;
    const String path = folder.At("pipe");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    struct sigaction action {};
    struct sigaction previous {};
    action.sa_handler = [](int /*signal*/) {};  // and calls are not started again
    ASSERT_EQ(sigaction(SIGUSR1, &action, &previous), 0);
    const std::string text = MakeText(1'000'000);
    std::string received;
    {
        std::jthread writer([&] { WriteFile(path, text); });
        const auto interrupt = [&writer] {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            pthread_kill(writer.native_handle(), SIGUSR1);
        };
        interrupt();
        std::ifstream reader(path.c_str(), std::ios::binary);
        for (std::string part(50'000, '\0'); reader;) {
            interrupt();
            reader.read(part.data(), static_cast<std::streamsize>(part.size()));
            received.append(part, 0, static_cast<std::size_t>(reader.gcount()));
        }
    }
    sigaction(SIGUSR1, &previous, nullptr);
    EXPECT_TRUE(received == text);
}

TEST(FileStreams, SayInOneLineWhatFailedAndWhy) {
    const Support::TestFolder folder;
    WriteFile(folder.At("file"), "text");
    ASSERT_EQ(mkfifo((folder.At("pipe")).c_str(), 0600), 0);
    const std::string place = (folder.At("")).c_str();
    const auto read = [&](std::string_view name) {
        return GetError([&] { ReadFile(folder.At(name)); });
    };
    const auto write = [](const String& path) { return GetError([&] { WriteFile(path, "x"); }); };

    EXPECT_EQ(read("missing"), "cannot open " + place + "missing: No such file or directory");
    EXPECT_EQ(read(""), "cannot open " + place + ": it is a folder, a pipe or a device");
    EXPECT_EQ(read("pipe"), "cannot open " + place + "pipe: it is a folder, a pipe or a device");
    EXPECT_EQ(read("/dev/zero"), "cannot open /dev/zero: it is a folder, a pipe or a device");
    EXPECT_EQ(read("a\nb\xFF"), "cannot open " + place + "a?b\uFFFD: No such file or directory");
    EXPECT_EQ(read({"file\0x", 6}), "cannot open " + place + "file?x: Invalid argument");
    EXPECT_EQ(write(folder.At("")), "cannot create " + place + ": Is a directory");
    EXPECT_EQ(write(folder.At("file/x")), "cannot create " + place + "file/x: Not a directory");
    EXPECT_EQ(write("/dev/full"), "cannot write /dev/full: No space left on device");
    try {
        WriteFile("/dev/full", "x");
    } catch (const IoException& error) {
        EXPECT_EQ(error.GetCode(), std::errc::no_space_on_device);
    }
    EXPECT_FALSE(IoException("damaged").GetCode());
}

}  // namespace
}  // namespace Kernel
