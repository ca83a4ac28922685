// A colour profile that libFuzzer makes up: read, and converted from and to.

#include "Raster/ICCManager.h"

#include <array>
#include <cstdint>
#include <limits>
#include <span>

namespace Raster {

namespace {

using Profile = Kernel::Consolidated<ICCProfile>;

void Convert(const Profile& from, const Profile& to) {
    constexpr float Infinity = std::numeric_limits<float>::infinity();
    alignas(64) std::array<float, 16> pixels{
        0,        0.5f,      1, 1, -1, 2, 1e30f, 0.5f, std::numeric_limits<float>::quiet_NaN(),
        Infinity, -Infinity, 0, 1, 1,  1, 1};
    if (const auto stage = ICCManager::CreateConversion(from, to)) {
        stage->Apply(pixels.data(), pixels.size() / 4);
    }
}

}  // namespace

}  // namespace Raster

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Raster;
    const Profile standard = ICCManager::GetProfileForString("sRGB IEC61966-2.1");
    if (const Profile profile = ICCProfile::CreateFromBytes(std::as_bytes(std::span(data, size)))) {
        Convert(profile, standard);
        Convert(standard, profile);
    }
    return 0;
}
