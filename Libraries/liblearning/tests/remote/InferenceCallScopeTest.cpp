#include "Kernel/Testing.h"
#include "Learning/RemoteNotifications.h"

#include "remote/calls/InferenceCallScope.h"
#include "support/Threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <optional>

namespace Learning {
namespace {

TEST(InferenceCallScope, CountsExactly) {
    const int threadCount = 256;
    const int rounds = std::getenv("ORVANTIS_SOAK") != nullptr ? 100 : 10;
    const Kernel::Testing::Recorded<Kernel::Trace> trace;
    Kernel::Broadcaster listeners;
    std::atomic<int> started = 0;
    std::atomic<int> ended = 0;
    const auto registration = listeners.Register([&](const Kernel::Notification& notification) {
        const bool isStart =
            dynamic_cast<const RemoteInferenceStartedNotification*>(&notification) != nullptr;
        ++(isStart ? started : ended);
    });
    Support::Barrier barrier(threadCount);
    std::atomic<int> wrong = 0;
    Support::RunOnThreads(threadCount, [&](int thread) {
        for (int round = 0; round < rounds; ++round) {
            std::optional<InferenceCallScope> scope;
            barrier.ArriveAndWait();
            scope.emplace(listeners, "call");
            barrier.ArriveAndWait();  // all are open
            if (thread == 0) {
                wrong += started != round + 1 || ended != round ? 1 : 0;
            }
            barrier.ArriveAndWait();
            scope.reset();
            barrier.ArriveAndWait();  // all are closed
            if (thread == 0) {
                wrong += started != round + 1 || ended != round + 1 ? 1 : 0;
            }
        }
    });
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(trace.GetMessages().size(), static_cast<std::size_t>(threadCount * rounds));
}

TEST(InferenceCallScope, TracesBeforeItIsOver) {
    const Kernel::Testing::Recorded<Kernel::Trace> trace;
    Kernel::Broadcaster listeners;
    std::size_t traced = 99;
    const auto registration = listeners.Register([&](const Kernel::Notification&) {
        traced = trace.GetMessages().size();
        throw 1;
    });
    {
        const InferenceCallScope outer(listeners, "outer");
        EXPECT_EQ(std::exchange(traced, 99), 0U);
        { const InferenceCallScope inner(listeners, "inner"); }
        EXPECT_EQ(traced, 99U);
    }
    EXPECT_EQ(traced, 2U);
}

}  // namespace
}  // namespace Learning
