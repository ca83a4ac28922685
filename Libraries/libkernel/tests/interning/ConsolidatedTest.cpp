#include "Kernel/Consolidated.h"

#include "support/Threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>

namespace Kernel {
namespace {

class Name : public Countable {
public:
    explicit Name(const char* text) : m_text(text) { ++s_living; }
    ~Name() override { --s_living; }

    const std::string& GetIdentity() const { return m_text; }

    static inline std::atomic<int> s_living = 0;

private:
    std::string m_text;
};

Consolidated<Name> Find(const char* text) {
    return Consolidated<Name>(MakeCounted<Name>(text));
}

TEST(Consolidated, SharesEqualValuesUntilTheLastReferenceEnds) {
    Consolidated<Name> first = Find("first");
    EXPECT_EQ(first, Find("first"));
    EXPECT_NE(first, Find("second"));
    EXPECT_EQ(Name::s_living, 2);
    first = Find("third");  // the second goes now, the first with the next
    EXPECT_EQ(Find("third")->GetIdentity(), "third");
    EXPECT_EQ(Name::s_living, 1);
}

TEST(Consolidated, GivesAllThreadsTheSame) {
    Support::RunOnThreads(4, [](int thread) {
        for (int i = 0; i < 2000; ++i) {
            const Consolidated<Name> mine = Find(thread % 2 == 0 ? "even" : "odd");
            ASSERT_EQ(mine, Find(mine->GetIdentity().c_str()));
        }
    });
}

}  // namespace
}  // namespace Kernel
