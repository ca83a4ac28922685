// A colour profile that libFuzzer makes up: read, and converted from and to by bitmaps that it
// fits.

#include "Raster/Compositing.h"
#include "Raster/ICCManager.h"
#include "Raster/PixelAccessor.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <span>

namespace Raster {

namespace {

using Profile = Kernel::Consolidated<ICCProfile>;

constexpr int Side = 3;

/// Of samples that try both ends of their range and, of floats, all that is beyond it.
Kernel::Counted<DynamicBitmap> MakeBitmap(Format format, const Profile& profile) {
    constexpr float Infinity = std::numeric_limits<float>::infinity();
    constexpr std::array<float, 7> Floats{
        0, 0.5F, 1, -1, 1e30F, std::numeric_limits<float>::quiet_NaN(), -Infinity};
    constexpr std::array<std::uint8_t, 5> Bytes{0, 255, 128, 1, 255};
    auto bitmap = Kernel::MakeCounted<DynamicBitmap>(Side, Side, format);
    bitmap->SetProfile(profile);
    const PixelAccessor accessor(*bitmap);
    const auto& pixels = bitmap->GetPixelFormat();
    for (int y = 0; y < Side; ++y) {
        const std::span row(accessor.GetView().At(0, y), Side * pixels.GetPixelSize());
        for (std::size_t i = 0; i < row.size(); ++i) {
            row[i] = std::byte{Bytes[(i + static_cast<std::size_t>(y)) % Bytes.size()]};
        }
        for (std::size_t i = 0; i < row.size() / 4 && pixels.sampleSize == 4; ++i) {
            reinterpret_cast<float*>(row.data())[i] =
                Floats[(i + static_cast<std::size_t>(y)) % Floats.size()];
        }
    }
    return bitmap;
}

void ConvertAll(const Profile& profile) {
    const Profile standard = ICCManager::GetProfileForString("sRGB IEC61966-2.1");
    for (const Format format : {Format::RGBA8, Format::RGBA16, Format::RGBAF, Format::GreyA8,
                                Format::GreyA16, Format::CMYKA8, Format::LabA16}) {
        if (!ICCManager::IsFitting(*profile, format)) {
            continue;
        }
        for (const Format other : {Format::RGBA8, Format::RGBAF}) {
            const auto ours = MakeBitmap(format, profile);
            const auto theirs = MakeBitmap(other, standard);
            Convert(*theirs, *ours);
            Convert(*ours, *theirs);
        }
    }
}

}  // namespace

}  // namespace Raster

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Raster;
    if (const Profile profile = ICCProfile::CreateFromBytes(std::as_bytes(std::span(data, size)))) {
        ConvertAll(profile);
    }
    return 0;
}
