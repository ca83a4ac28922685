#include "Kernel/EnumSerialiser.h"

#include <gtest/gtest.h>

namespace Kernel {
namespace {

enum Size : std::int64_t { Small = 1, Large = 7, Odd = -3 };

class SizeSerialiser : public EnumSerialiser {
public:
    SizeSerialiser() {
        static constexpr Entry Named[] = {{Small, "small"}, {Large, "large"}};
        static constexpr Entry Nameless[] = {{Odd, nullptr}, {0, 0}};
        RegisterEnumSet(Named);
        RegisterEnumSet(Nameless);
    }
};

TEST(EnumSerialiser, StoresNamesOrElseNumbers) {
    const SizeSerialiser sizes;
    EXPECT_EQ(sizes.GetEntries().size(), 4U);
    for (const auto& [value, name] : sizes.GetEntries()) {
        EXPECT_TRUE(sizes.Contains(value));
        EXPECT_EQ(sizes.FromText(sizes.ToText(value)), value);
    }
    EXPECT_EQ(sizes.ToText(Large), "large");
    EXPECT_EQ(sizes.ToText(Odd), "-3");
    EXPECT_EQ(sizes.ToText(2), "2");
    EXPECT_FALSE(sizes.Contains(2));
    for (const char* const other : {"2", "1", "Small", " 0", "+0", "00", ""}) {
        EXPECT_FALSE(sizes.FromText(other)) << other;
    }
}

}  // namespace
}  // namespace Kernel
