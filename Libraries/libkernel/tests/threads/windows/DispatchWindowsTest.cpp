#include "Kernel/Dispatch.h"

#include "threads/CurrentThread.h"

#include <windows.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <utility>
#include <vector>

namespace Kernel::Dispatch {
namespace {

int LookAt(Priority priority) {
    const auto seen = std::make_shared<std::promise<int>>();
    DispatchAndForget([seen] { seen->set_value(GetThreadPriority(GetCurrentThread())); }, priority,
                      ThreadPurpose::General);
    return seen->get_future().get();
}

TEST(DispatchAndForget, IsAsUrgentAsItIsToldOnAnIdleThreadToo) {
    const auto lookAtAll = [] {
        return std::vector{LookAt(Priority::Idle), LookAt(Priority::Low), LookAt(Priority::Normal),
                           LookAt(Priority::High)};
    };
    const auto expected = testing::ElementsAre(THREAD_PRIORITY_IDLE, THREAD_PRIORITY_BELOW_NORMAL,
                                               THREAD_PRIORITY_NORMAL, THREAD_PRIORITY_NORMAL);
    EXPECT_THAT(lookAtAll(), expected);
    const auto seen = std::make_shared<std::promise<std::vector<int>>>();
    DispatchAndForget([=] { seen->set_value(lookAtAll()); }, Priority::Idle,
                      ThreadPurpose::Background);
    EXPECT_THAT(seen->get_future().get(), expected);
}

TEST(CurrentThread, CountsTheProcessorsThatItMayUse) {
    DWORD_PTR before = 0;
    DWORD_PTR present = 0;
    ASSERT_NE(GetProcessAffinityMask(GetCurrentProcess(), &before, &present), 0);
    ASSERT_NE(SetProcessAffinityMask(GetCurrentProcess(), before & (~before + 1)), 0);
    EXPECT_EQ(CountProcessors(), 1U);
    SetProcessAffinityMask(GetCurrentProcess(), before);
    EXPECT_GE(CountProcessors(), 1U);
}

}  // namespace
}  // namespace Kernel::Dispatch
