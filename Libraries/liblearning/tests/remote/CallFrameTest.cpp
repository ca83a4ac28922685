// What surrounds operations on pictures: reports of progress, and their end.

#include "Kernel/Dispatch.h"
#include "Kernel/Timer.h"
#include "Learning/RemoteControl.h"

#include "remote/progress/CallFrame.h"
#include "support/Threads.h"
#include "tests/remote/PictureService.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <thread>

namespace Learning {
namespace {

using namespace std::chrono_literals;

struct Reports {
    std::mutex mutex;
    std::vector<float> shares;
    std::vector<std::thread::id> threads;
    bool throws = false;

    static void Take(float share, void* context) {
        auto& self = *static_cast<Reports*>(context);
        const std::lock_guard lock(self.mutex);
        self.shares.push_back(share);
        self.threads.push_back(std::this_thread::get_id());
        if (self.throws) {
            throw 1;
        }
    }
};

/// Calls of text-to-image for one picture.
class PictureCall : public PictureTest {
protected:
    PictureCall() {
        m_model.modelPollStartMS = 40'000;
        m_replies["textToImageAsync"] = Job;
        m_files["a.jpg"] = MakeJPEG(*MakePicture(30, 20, 0xFF0000FF));
    }

    RemoteResult::Code Infer(ProgressCallback callback, void* context) {
        m_polls = {R"({"images":[)" + Quote("a.jpg") + "]}"};
        m_pictures.clear();
        return m_client
            .InferTextToImage(m_model, {}, {}, {}, m_prompt, "", false, {}, 1, m_pictures, callback,
                              context)
            .code;
    }
    RemoteResult::Code Resume(ProgressCallback callback, void* context) {
        m_polls = {R"({"images":[)" + Quote("a.jpg") + "]}"};
        return m_client
            .ResumeTextToImage("J", m_model, m_prompt, false, 1, m_pictures, callback, context)
            .code;
    }

    TextToImageModel m_model;
    Kernel::String m_prompt = "a cat";
    RemoteInference::Pictures m_pictures;
};

TEST_F(PictureCall, ReportsItsProgressByTheClock) {
    m_fast.reset();
    Kernel::Testing::ScaledClock clock(30);  // on which requests don't take seconds
    const Kernel::Testing::ScopedClock scoped(clock);
    m_model.modelPollStartMS = 100'000;
    Reports reports;
    EXPECT_EQ(Infer(Reports::Take, &reports), Success);
    ASSERT_GT(reports.shares.size(), 2U);
    EXPECT_LT(reports.shares[0], 0.1F);
    EXPECT_TRUE(std::ranges::is_sorted(reports.shares));
    EXPECT_GT(reports.shares.end()[-2], 0.14F);
    EXPECT_LT(reports.shares.end()[-2], 1.0F);
    EXPECT_EQ(reports.shares.back(), 1.0F);
    EXPECT_NE(reports.threads.front(), std::this_thread::get_id());
    for (const int expected : {0, -5}) {  // is over at once
        reports.shares.clear();
        m_model.modelPollStartMS = expected;
        EXPECT_EQ(Infer(Reports::Take, &reports), Success);
        EXPECT_THAT(reports.shares, testing::Each(1.0F));
    }
    reports.shares.clear();
    reports.throws = true;
    m_model.modelPollStartMS = 100'000;  // a report is due, whenever the thread starts
    EXPECT_EQ(Infer(Reports::Take, &reports), Success);
    EXPECT_EQ(reports.shares.size(), 1U);
    EXPECT_EQ(m_log.GetMessages().size(), 1U);
    EXPECT_EQ(Infer(Reports::Take, nullptr), Success);
    EXPECT_EQ(Infer(nullptr, &reports), Success);
    EXPECT_EQ(reports.shares.size(), 1U);
}

TEST_F(PictureCall, EndsAtOnceWhereverItIs) {
    using Clock = std::chrono::steady_clock;
    m_fast.reset();  // in real time
    Clock::duration quickest = 10s;
    for (const auto kind : {RemotePhase::Kind::Submitting, RemotePhase::Kind::Waiting,
                            RemotePhase::Kind::Polling, RemotePhase::Kind::Downloading}) {
        Reports reports;
        std::atomic<bool> isThere = false;
        RemoteControl control([&](const RemotePhase& phase) { isThere = phase.kind == kind; });
        Clock::time_point cancelled;
        std::jthread canceller([&] {
            while (!isThere) {
                std::this_thread::sleep_for(1ms);
            }
            std::this_thread::sleep_for(20ms);
            cancelled = Clock::now();
            control.Cancel();
        });
        const RemoteControl::Scope scope(control);
        if (kind == RemotePhase::Kind::Submitting || kind == RemotePhase::Kind::Waiting) {
            if (kind == RemotePhase::Kind::Submitting) {
                Serve({Server::WaitForClient});
            } else {
                Serve([this](const Server::Request& request) { return Answer(request); });
            }
            EXPECT_EQ(Infer(Reports::Take, &reports), Broken);
        } else {
            Serve([this, kind](const Server::Request& request) -> Server::Script {
                const bool isFile = request.method == "GET";
                return isFile == (kind == RemotePhase::Kind::Downloading)
                           ? Server::Script{Server::WaitForClient}
                           : Answer(request);
            });
            EXPECT_EQ(Resume(Reports::Take, &reports), Broken);
        }
        const Clock::time_point ended = Clock::now();
        canceller.join();
        // 100 ms at most on a machine that has nothing else to do; what hears of nothing waits for
        // 20 s.
        EXPECT_LT(ended - cancelled, 10s) << static_cast<int>(kind);
        quickest = std::min(quickest, ended - cancelled);
        EXPECT_FALSE(std::ranges::count(reports.shares, 1.0F)) << "nothing is done";
        m_server = nullptr;
    }
    EXPECT_LT(quickest, 1s);  // others may slow down some, but not all
}

/// 64 at once, which end at all moments between two reports: at most half a second until the end is
/// noticed, and as much for the user to see the last report. One after another would take half a
/// minute at least.
TEST(CallFrame, ClosesInTimeHoweverManyThereAre) {
    constexpr int Count = 64;
    constexpr int Expected = 60'000;
    const Kernel::Broadcaster listeners;
    std::atomic<double> longest = 0;  // in milliseconds
    std::atomic<int> wrong = 0;
    Support::RunOnThreads(Count, [&](int number) {
        Reports reports;
        std::optional<CallFrame> frame(std::in_place, listeners, "call", Expected, Reports::Take,
                                       &reports);
        Kernel::Dispatch::Sleep(8ms * number);
        const Kernel::Timer timer;
        frame.reset();
        const double taken = timer.GetElapsedMilliseconds();
        for (double other = longest;
             other < taken && !longest.compare_exchange_weak(other, taken);) {
        }
        wrong += reports.shares.back() == 1 ? 0 : 1;
    });
    EXPECT_LT(longest, 10'000);  // on a machine that does other things, too
    EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace Learning
