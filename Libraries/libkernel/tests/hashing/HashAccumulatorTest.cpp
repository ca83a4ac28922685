#include "Kernel/HashAccumulator.h"

#include "tests/StreamTexts.h"

#include <gtest/gtest.h>
#include <xxhash.h>

#include <span>
#include <string>
#include <string_view>

namespace Kernel {
namespace {

template <class... Values>
std::uint64_t HashOf(const Values&... values) {
    HashAccumulator hash;
    (hash.Add(values), ...);
    return hash.GetHash();
}

TEST(HashAccumulator, GivesTheHashOfAllPiecesTogether) {
    const std::string text = MakeText(5000);
    const auto bytes = std::as_bytes(std::span(text));
    EXPECT_EQ(HashOf(bytes.first(777), bytes.subspan(777)), XXH3_64bits(text.data(), text.size()));
    EXPECT_EQ(HashOf(), 0x2d06800538d394c2);
}

TEST(HashAccumulator, TellsTextsApartByTheirEnds) {
    EXPECT_NE(HashOf(String("ab"), String("c")), HashOf(String("a"), String("bc")));
    EXPECT_NE(HashOf(String()), HashOf());
}

TEST(HashAccumulator, HashesTheBytesOfATextNotItsAddress) {
    const std::string elsewhere = "text";
    EXPECT_EQ(HashOf("text"), HashOf(String("text")));
    EXPECT_EQ(HashOf(elsewhere.c_str()), HashOf(String("text")));
    EXPECT_EQ(HashOf(std::string_view(elsewhere)), HashOf(String("text")));
}

}  // namespace
}  // namespace Kernel
