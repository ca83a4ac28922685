#include "Kernel/Testing.h"

#include "jobs/Shelf.h"
#include "jobs/Workbench.h"
#include "support/Threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <set>

namespace Service {
namespace {

using namespace std::chrono_literals;

class Shelves : public testing::Test {
protected:
    /// Adds a number that takes so much; empty if there is no room.
    std::string Add(int number, std::size_t size) {
        try {
            return m_shelf.Add(std::make_shared<int>(number), size).id;
        } catch (const Rejection& busy) {
            EXPECT_STREQ(busy.what(), "TEMPORARILY_UNAVAILABLE");
            return {};
        }
    }

    Kernel::Testing::ManualClock m_clock;
    const Kernel::Testing::ScopedClock m_scope{m_clock};
    Shelf<int> m_shelf{{4, 100, 60min, 2min}};
};

TEST_F(Shelves, HaveTwoNamesForEachThing) {
    const std::string id = Add(7, 1);
    const std::string token = m_shelf.Find(id).token;
    EXPECT_EQ(*m_shelf.Find(id).thing, 7);
    EXPECT_EQ(*m_shelf.FindByToken(token), 7);
    EXPECT_EQ(m_shelf.Find(token).thing, nullptr);
    EXPECT_EQ(m_shelf.FindByToken(id), nullptr);
    std::set<std::string> tokens;
    for (int i = 0; i < 1000; ++i) {
        tokens.insert(MakeToken());
    }
    EXPECT_EQ(tokens.size(), 1000);
    EXPECT_EQ(tokens.begin()->find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_EQ(tokens.begin()->size(), 32);
}

TEST_F(Shelves, MakeRoomByWhatIsOldEnough) {
    const std::string first = Add(1, 60);
    m_clock.Advance(1min);
    const std::string second = Add(2, 30);
    EXPECT_EQ(Add(3, 11), "");
    EXPECT_EQ(Add(3, 101), "");
    m_clock.Advance(1min + 1ms);
    EXPECT_NE(Add(3, 11), "");
    EXPECT_EQ(m_shelf.Find(first).thing, nullptr);
    EXPECT_NE(m_shelf.Find(second).thing, nullptr);
    EXPECT_NE(Add(4, 1), "");
    EXPECT_NE(Add(5, 1), "");
    EXPECT_EQ(Add(6, 1), "");  // there are four
    m_clock.Advance(60min);
    EXPECT_EQ(m_shelf.Find(second).thing, nullptr);
}

TEST_F(Shelves, NeverHoldMoreThanTheirLimits) {
    std::deque<std::pair<std::string, std::size_t>> kept;
    for (unsigned i = 0; i < 3000; ++i) {
        const std::size_t size = i * 7919 % 60;
        m_clock.Advance(std::chrono::seconds(i * 31 % 100));
        if (const std::string id = Add(static_cast<int>(i), size); !id.empty()) {
            kept.emplace_back(id, size);
        }
        if (i % 3 == 0 && !kept.empty()) {
            try {
                m_shelf.Resize(kept.back().first, size / 2 + 20);
                kept.back().second = size / 2 + 20;
            } catch (const Rejection&) {  // as it was
            }
        }
        std::erase_if(kept,
                      [&](const auto& one) { return m_shelf.Find(one.first).thing == nullptr; });
        std::size_t sum = 0;
        for (const auto& one : kept) {
            sum += one.second;
        }
        ASSERT_LE(sum, 100) << i;
        ASSERT_LE(kept.size(), 4) << i;
    }
    EXPECT_FALSE(kept.empty());
}

TEST(Workbench, SeatsTwoAtATimeAndNobodyOnceItIsClosed) {
    Workbench bench;
    std::atomic<int> seated = 0;
    std::atomic<int> most = 0;
    Support::RunOnThreads(6, [&](int) {
        const Workbench::Seat seat = bench.Enter();
        most = std::max(most.load(), ++seated);
        std::this_thread::sleep_for(20ms);
        --seated;
    });
    EXPECT_EQ(most, 2);
    {
        const Workbench::Seat first = bench.Enter();
        const Workbench::Seat second = bench.Enter();
        std::jthread closing([&] {
            std::this_thread::sleep_for(20ms);
            bench.Close();
        });
        EXPECT_THROW((void)bench.Enter(), Rejection);
    }
    EXPECT_THROW((void)bench.Enter(), Rejection);
}

}  // namespace
}  // namespace Service
