// What consoles tell besides Ctrl-C.

#include "failures/Failure.h"
#include "terminal/Interruption.h"
#include "terminal/windows/ConsoleEvents.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

namespace LearningApp {
namespace {

/// Closes the window `count` times, and ends in order once that is heard of.
[[noreturn]] void BeClosed(int count) {
    EndWhenInterrupted();
    const Interruption interruption;
    for (int i = 0; i < count; ++i) {
        std::thread([] {
            HandleConsoleEvent(CTRL_CLOSE_EVENT);
            std::_Exit(1);  // as the system does when the handler returns
        }).detach();
    }
    for (;;) {
        try {
            Sleep(100);
            interruption.Check();
        } catch (const Interrupted&) {
            std::_Exit(7);
        }
    }
}

TEST(InterruptionDeathTest, LetsAProgramWhoseWindowIsClosedEndInOrder) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(BeClosed(1), testing::ExitedWithCode(7), "");
    EXPECT_EXIT(BeClosed(2), testing::ExitedWithCode(130), "learning: interrupted");
}

}  // namespace
}  // namespace LearningApp
