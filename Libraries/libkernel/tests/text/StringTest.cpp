#include "Kernel/String.h"

#include "support/Threads.h"

#include <gtest/gtest.h>

#include <array>
#include <iomanip>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Kernel {
namespace {

using Pair = std::pair<String, std::string>;

void ExpectSameOrder(const Pair& a, const Pair& b) {
    EXPECT_EQ(a.first <=> b.first, a.second <=> b.second);
    EXPECT_EQ(a.first <=> std::string_view(b.first), a.second <=> b.second);
    EXPECT_EQ(a.first <=> b.second, a.second <=> b.second);
    EXPECT_EQ(a.first <=> b.first.c_str(), a.second.compare(b.second.c_str()) <=> 0);
    EXPECT_EQ(a.first == b.first, a.second == b.second);
    EXPECT_EQ(a.first == b.first.c_str(), a.second == b.second.c_str());
}

/// Does the same random thing to both halves of `text`; `copies` keeps and returns earlier states.
void ChangeBoth(Pair& text, std::vector<Pair>& copies, std::mt19937& random) {
    const auto upTo = [&random](std::size_t limit) { return random() % (limit + 1); };
    const std::size_t start = upTo(text.second.size());
    const std::size_t count = upTo(text.second.size() - start);
    const char character = static_cast<char>(upTo(3) - 1);  // zero bytes and negative ones too
    const auto both = [&text](auto change) {
        change(text.first);
        change(text.second);
    };
    switch (upTo(6)) {
        case 0:
            return both([&](auto& half) { half.push_back(character); });
        case 1:
            return both([&](auto& half) { half.append(half.data() + start, count); });
        case 2:
            return both([&](auto& half) { half.resize(count + 3, character); });
        case 3:
            return both([&](auto& half) { half += "Größe"; });
        case 4:
            return both([&](auto& half) { half.reserve(2 * count); });
        case 5:
            return copies.push_back(text);
        default:
            text = copies[upTo(copies.size() - 1)];
    }
}

TEST(String, ChangesAsStdStringDoes) {
    std::mt19937 random(1);
    for (int round = 0; round < 100; ++round) {
        Pair text;
        std::vector<Pair> copies{text};
        for (int step = 0; step < 100; ++step) {
            ChangeBoth(text, copies, random);
            ASSERT_EQ(text.first, text.second);
            ASSERT_EQ(text.first.c_str()[text.first.size()], '\0');
            ASSERT_TRUE(text.first.empty() || text.first.back() == text.second.back());
        }
        for (const Pair& copy : copies) {
            ASSERT_EQ(copy.first, copy.second);
            ExpectSameOrder(copy, text);
        }
    }
}

TEST(String, SharesItsBufferUntilOneCopyChanges) {
    const String original = "text";
    String copy = original;
    EXPECT_EQ(copy.data(), original.data());
    copy.reserve(100);
    const char* const own = copy.data();
    EXPECT_NE(own, original.data());
    copy.resize(100, 'x');
    EXPECT_EQ(copy.data(), own);  // the room that was reserved
    EXPECT_EQ(original, "text");
}

TEST(String, RefusesImpossibleSizesAndStaysAsItWas) {
    constexpr std::size_t Impossible = std::string::npos;
    String text = "text";
    EXPECT_THROW(text.resize(Impossible), std::length_error);
    EXPECT_THROW(text.reserve(Impossible - 8), std::length_error);
    EXPECT_THROW(text.append("x", Impossible), std::length_error);
    EXPECT_THROW(String(Impossible, 'x'), std::length_error);
    EXPECT_EQ(text, "text");
    EXPECT_EQ(String(static_cast<const char*>(nullptr)), "");
}

TEST(String, CopiesMayChangeOnManyThreads) {
    std::array<std::vector<String>, 4> owners;
    for (int i = 0; i < 2000; ++i) {
        const String text(30, 'x');
        for (std::vector<String>& texts : owners) {
            texts.push_back(text);
        }
    }
    // Of each string's owners, the last to change it has the buffer to itself.
    Support::RunOnThreads(4, [&owners](int thread) {
        for (String& text : owners[static_cast<std::size_t>(thread)]) {
            text.resize(29);
            ASSERT_EQ(text, std::string(29, 'x'));
        }
    });
}

TEST(String, IsWrittenToStreamsAsStdStringIs) {
    std::ostringstream stream;
    stream << std::setfill('.') << std::setw(6) << String("a\0b", 3) << String();
    EXPECT_EQ(stream.str(), std::string("...a\0b", 6));
}

}  // namespace
}  // namespace Kernel
