#include "formats/InstructionSets.h"

#include <gtest/gtest.h>

#include <cstdint>

// What a host has that uses Highway itself and links us as archives. Its name here is not the one
// that the build gives to ours.
#undef hwy
namespace hwy {
std::int64_t SupportedTargets();
std::int64_t SupportedTargets() {
    return 0;
}
}  // namespace hwy

namespace Raster {
namespace {

TEST(InstructionSets, AreNotThoseOfTheHostsHighway) {
    EXPECT_FALSE(GetInstructionSets().empty());
}

}  // namespace
}  // namespace Raster
