#include "Kernel/HashAccumulator.h"

#include <gtest/gtest.h>
#include <xxhash.h>

#include <random>
#include <span>
#include <string_view>
#include <vector>

namespace Kernel {
namespace {

template <class... Values>
std::uint64_t HashOf(const Values&... values) {
    HashAccumulator hash;
    (hash.Add(values), ...);
    return hash.GetHash();
}

TEST(HashAccumulator, GivesTheSameForAnyCutting) {
    std::mt19937 random(1);
    std::vector<std::byte> bytes(5000);
    for (std::byte& byte : bytes) {
        byte = static_cast<std::byte>(random());
    }
    HashAccumulator hash;
    EXPECT_EQ(hash.GetHash(), 0x2d06800538d394c2);
    for (std::size_t done = 0; done < bytes.size();) {
        const std::size_t count = std::min<std::size_t>(random() % 700, bytes.size() - done);
        hash.Add(std::span(bytes).subspan(done, count));
        done += count;
        ASSERT_EQ(hash.GetHash(), XXH3_64bits(bytes.data(), done));
    }
}

TEST(HashAccumulator, TellsTextsApartByTheirEnds) {
    EXPECT_NE(HashOf(String("ab"), String("c")), HashOf(String("a"), String("bc")));
    EXPECT_NE(HashOf(String()), HashOf());
}

TEST(HashAccumulator, HashesTheBytesOfATextNotItsAddress) {
    const std::string elsewhere = "text";
    const char* const pointer = elsewhere.c_str();
    EXPECT_EQ(HashOf("text"), HashOf(String("text")));
    EXPECT_EQ(HashOf(pointer), HashOf(String("text")));
    EXPECT_EQ(HashOf(std::string_view(elsewhere)), HashOf(String("text")));
    EXPECT_EQ(HashOf(elsewhere), HashOf(String("text")));
}

}  // namespace
}  // namespace Kernel
