#include "support/LeakCheck.h"
#include "tests/modelcache/DownloadTesting.h"

#include <gtest/gtest.h>

namespace Learning {
namespace {

TEST_F(DownloadTest, GivesBackItsDescriptorsAndThreads) {
    const Server::Script answers[] = {Server::Reply(404), Server::Reply(200, {}, "garbage"),
                                      Server::Reply(200, {}, MakePackage())};
    ASSERT_TRUE(Download(answers[2]));  // what is loaded for good is loaded now
    const Support::LeakCheck leakCheck;
    for (std::size_t round = 0; round < (IsSoak() ? 1'000 : 60); ++round) {
        ASSERT_EQ(Download(answers[round % 3]), round % 3 == 2) << round;
    }
}

}  // namespace
}  // namespace Learning
