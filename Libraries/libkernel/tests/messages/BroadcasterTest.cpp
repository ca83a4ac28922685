#include "Kernel/Broadcaster.h"
#include "Kernel/Semaphore.h"

#include "support/Threads.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

namespace Kernel {
namespace {

using Registration = Broadcaster::Registration;

/// Notes that it was called.
Broadcaster::Listener Note(std::string& calls, char name) {
    return [&calls, name](const Notification&) { calls += name; };
}

void Post(const Broadcaster& broadcaster) {
    broadcaster.Post(MakeCounted<Notification>());
}

TEST(Broadcaster, CallsListenersInTheirOrderWhateverOneThrows) {
    struct Numbered : Notification {
        int number = 5;
    };
    Broadcaster broadcaster;
    std::string calls;
    Counted<const Notification> kept;
    const Registration first = broadcaster.Register([&](const Notification& notification) {
        calls += std::to_string(dynamic_cast<const Numbered&>(notification).number);
        kept = Counted<const Notification>::Share(&notification);
    });
    const Registration second =
        broadcaster.Register([](const Notification&) { throw std::runtime_error("deaf"); });
    const Registration third = broadcaster.Register([](const Notification&) { throw 1; });
    const Registration fourth = broadcaster.Register(Note(calls, 'd'));
    testing::internal::CaptureStderr();
    broadcaster.Post(MakeCounted<Numbered>());
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "A listener failed: deaf\nA listener failed.\n");
    EXPECT_EQ(calls, "5d");
    EXPECT_EQ(kept->GetReferenceCount(), 1);
}

TEST(Broadcaster, LetsAListenerRegisterEndAndPost) {
    Broadcaster broadcaster;
    std::string calls;
    Registration last;
    Registration added;
    Registration own = broadcaster.Register([&](const Notification&) {
        calls += 'a';
        own.End();
        last.End();
        added = broadcaster.Register(Note(calls, 'c'));
        Post(broadcaster);
    });
    const Registration middle = broadcaster.Register(Note(calls, 'b'));
    last = broadcaster.Register(Note(calls, 'x'));
    Post(broadcaster);
    EXPECT_EQ(calls, "abcb");  // the added one hears what is posted afterwards only
}

TEST(Broadcaster, KeepsItsRegistrationsWhenItIsCopiedOrMoved) {
    std::string calls;
    std::optional<Registration> outliving;
    {
        Broadcaster broadcaster;
        const Registration registration = broadcaster.Register(Note(calls, 'a'));
        Broadcaster copy = broadcaster;
        const Registration ofCopy = copy.Register(Note(calls, 'b'));
        broadcaster = copy;
        copy = std::move(broadcaster);
        const Broadcaster moved = std::move(broadcaster);
        Post(moved);
        EXPECT_EQ(calls, "");
        Post(copy);
        Post(broadcaster);  // NOLINT(bugprone-use-after-move): what the test is about
        EXPECT_EQ(calls, "ba");
        outliving = copy.Register(Note(calls, 'c'));
    }
    outliving.reset();
}

TEST(Broadcaster, EndsARegistrationWithItsObject) {
    Broadcaster broadcaster;
    std::string calls;
    Registration moved;
    {
        Registration registration = broadcaster.Register(Note(calls, 'a'));
        const Registration ended = broadcaster.Register(Note(calls, 'b'));
        moved = std::move(registration);
    }
    Post(broadcaster);
    moved = broadcaster.Register(Note(calls, 'c'));
    Post(broadcaster);
    EXPECT_EQ(calls, "ac");
}

TEST(Broadcaster, WaitsForACallOnAnotherThreadWhenARegistrationEnds) {
    Broadcaster broadcaster;
    Semaphore isInside;
    int calls = 0;  // not atomic, so that the thread sanitizer sees calls that were not waited for
    auto captured = std::make_shared<int>();
    const std::weak_ptr<int> life = captured;
    Registration registration =
        broadcaster.Register([&, kept = std::move(captured)](const Notification&) {
            isInside.Signal();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            ++calls;
        });
    const std::jthread poster([&broadcaster] { Post(broadcaster); });
    isInside.Wait();
    registration.End();
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(life.expired());
}

TEST(Broadcaster, DoesNotHangWhenListenersEndEachOther) {
    std::array<Broadcaster, 2> broadcasters;
    std::array<Registration, 2> registrations;
    std::array<std::weak_ptr<int>, 2> lives;
    std::array<Semaphore, 2> isInside;
    for (const std::size_t i : {0U, 1U}) {
        auto captured = std::make_shared<int>();
        lives.at(i) = captured;
        registrations.at(i) =
            broadcasters.at(i).Register([&, i, kept = std::move(captured)](const Notification&) {
                isInside.at(i).Signal();
                isInside.at(1 - i).Wait();
                registrations.at(1 - i).End();
                EXPECT_FALSE(lives.at(i).expired());
            });
    }
    Support::RunOnThreads(2, [&broadcasters](int thread) {
        Post(broadcasters.at(static_cast<std::size_t>(thread)));
    });
    EXPECT_TRUE(lives[0].expired() && lives[1].expired());
}

TEST(Broadcaster, IsUsedByManyThreads) {
    Broadcaster broadcaster;
    Support::RunOnThreads(6, [&broadcaster](int thread) {
        for (int i = 0; i < 300; ++i) {
            if (thread % 2 == 0) {
                Post(broadcaster);
                continue;
            }
            std::mutex mutex;  // gone when the registration has ended, and so are the calls
            int calls = 0;
            const Registration registration = broadcaster.Register([&](const Notification&) {
                const std::lock_guard lock(mutex);
                ++calls;
            });
            const Broadcaster copy = broadcaster;
            Post(broadcaster);
            const std::lock_guard lock(mutex);
            EXPECT_GE(calls, 1);
        }
    });
}

}  // namespace
}  // namespace Kernel
