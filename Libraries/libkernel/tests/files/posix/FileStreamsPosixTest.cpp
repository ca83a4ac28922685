#include "Kernel/FileStreams.h"

#include "support/TestFolder.h"
#include "tests/StreamTexts.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <string>
#include <string_view>
#include <thread>

namespace Kernel {
namespace {

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
