#include "Kernel/Format.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

namespace Kernel {
namespace {

TEST(Format, ReplacesPlaceholdersOnce) {
    EXPECT_EQ(Format("%2 of %1, %2", 10, "three"), "three of 10, three");
    EXPECT_EQ(Format("%1%2", "%2%1", "x"), "%2%1x");
    EXPECT_EQ(Format("%9%8%7%6%5%4%3%2%1", 1, 2, 3, 4, 5, 6, 7, 8, 9), "987654321");
    EXPECT_EQ(Format("%1", String("a\0b", 3)), String("a\0b", 3));
}

TEST(Format, LeavesAllElseAsItIs) {
    EXPECT_EQ(Format("%1 %2 %3", "a"), "a %2 %3");
    EXPECT_EQ(Format("100% %% %0 %x %", 1), "100% %% %0 %x %");
    EXPECT_EQ(Format("%%1 %10", "a"), "%a a0");
    EXPECT_EQ(Format("%0%:", 1, 2, 3, 4, 5, 6, 7, 8, 9, 10), "%0%:");
}

TEST(Format, WritesNumbersExactly) {
    using Long = std::numeric_limits<std::int64_t>;
    EXPECT_EQ(Format("%1 %2", Long::min(), Long::max()),
              "-9223372036854775808 9223372036854775807");
    EXPECT_EQ(Format("%1", std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
    EXPECT_EQ(Format("%1 %2", std::int8_t{-128}, std::uint8_t{65}), "-128 65");
    EXPECT_EQ(Format("%1 %2 %3 %4", 0.1, 0.1F, -0.0, 1.0), "0.1 0.1 -0 1");
    EXPECT_EQ(Format("%1", std::numeric_limits<double>::lowest()), "-1.7976931348623157e+308");
}

}  // namespace
}  // namespace Kernel
