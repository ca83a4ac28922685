// What Ctrl-C and SIGTERM do, also to the program as a process of its own and at any moment.

#include "failures/Failure.h"
#include "terminal/Interruption.h"
#include "tests/InterruptSelf.h"
#include "tests/LearningProgram.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <thread>

namespace LearningApp {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Support::Ending;
using Testing::InterruptSelf;

constexpr int Survived = 7;

/// Does `work` as the program does it, and ends the process unless something else has.
[[noreturn]] void Live(const std::function<void()>& work) {
    EndWhenInterrupted();
    work();
    std::_Exit(Survived);
}

void BeInterruptedTooLate() {
    const Interruption interruption;
    interruption.Check();
    InterruptSelf(Ending::Terminate);
}

void BeInterruptedInTime() {
    const Interruption interruption;
    InterruptSelf(Ending::Terminate);
    try {
        interruption.Check();
        std::_Exit(1);
    } catch (const Interrupted&) {
        EXPECT_TRUE(*interruption.GetFlag());
    }
}

void BeInterruptedTwice() {
    BeInterruptedInTime();
    InterruptSelf(Ending::Terminate);
}

TEST(InterruptionDeathTest, EndsTheProcessUnlessItHasThrown) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto ends = testing::ExitedWithCode(130);
    EXPECT_EXIT(Live([] { InterruptSelf(Ending::Terminate); }), ends, "learning: interrupted");
    EXPECT_EXIT(Live(BeInterruptedTooLate), ends, "learning: interrupted");
    EXPECT_EXIT(Live(BeInterruptedInTime), testing::ExitedWithCode(Survived), "");
    EXPECT_EXIT(Live(BeInterruptedTwice), ends, "learning: interrupted");
}

#ifndef __SANITIZE_THREAD__  // which takes the threads of a process that is ended for leaks

using Interruptions = Testing::InFolder;

/** What `learning` itself wrote: the runtime of Windows tells a machine without graphics so. */
std::string GetOwnWords(std::string err) {
    constexpr std::string_view Foreign = "Failed to create DXGI factory.\r\n";
    if (const std::size_t at = err.find(Foreign); at != std::string::npos) {
        err.erase(at, Foreign.size());
    }
    return err;
}

TEST_F(Interruptions, LeaveNothingBehindInAnyPhase) {
    constexpr int Side = 600;
    const std::string photo = MakePhoto(Side, Side, [](int x, int y) {
        return std::array{x * 37 % 256, y * 59 % 256, x * y % 256, 255};
    });
    const auto start = [&](const std::string& result) {
        return Support::Command{
            .words = {LEARNING_PROGRAM, "--models", TEST_MODELS, "depth", photo, "-o", At(result)}};
    };
    // The shortest of some: on a busy machine one may take ten times as long as another.
    Clock::duration duration = Clock::duration::max();
    for (int i = 0; i < 3; ++i) {
        const auto begin = Clock::now();
        ASSERT_EQ(Support::RunProcess(start("whole.png")).code, 0);
        duration = std::min(duration, Clock::now() - begin);
    }
    const int count = std::getenv("ORVANTIS_SOAK") != nullptr ? 1'000 : 16;
    int interrupted = 0;
    for (int i = 0; i < count; ++i) {
        Support::Process process(start("result.png"));
        std::this_thread::sleep_for(duration * i / count);
        process.End(i % 2 == 0 ? Ending::Interrupt : Ending::Terminate);
        const Testing::Outcome outcome = process.Wait();
        const bool isWhole = std::filesystem::remove(Support::ToPath(At("result.png")));
        EXPECT_THAT(GetFiles(), testing::ElementsAre("photo.png", "whole.png")) << i;
        // Before main() a signal ends the process by itself; after the file is written, too late.
        EXPECT_TRUE(outcome.code == 130 || outcome.code == 0 || (outcome.code == -1 && !isWhole))
            << i << ": " << outcome.code;
        if (outcome.code == 130) {
            EXPECT_EQ(GetOwnWords(outcome.err), "learning: interrupted\n") << i;
            ++interrupted;
        }
    }
    EXPECT_GT(interrupted, 0);
}

#endif

}  // namespace
}  // namespace LearningApp
