#include "colour/StandardProfile.h"

#include "Kernel/NeverDestroyed.h"

#include <algorithm>
#include <array>
#include <new>
#include <vector>

namespace Raster {

namespace {

Kernel::Consolidated<ICCProfile> CreateSRGB() {
    const LcmsContext context = CreateLcmsContext();
    const LcmsProfile profile(cmsCreate_sRGBProfileTHR(context.get()));
    const LcmsText name(cmsMLUalloc(context.get(), 1));
    cmsMLUsetASCII(name.get(), "en", "US", StandardProfileName);
    cmsWriteTag(profile.get(), cmsSigProfileDescriptionTag, name.get());
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile.get(), nullptr, &size);
    std::vector<std::byte> bytes(size);
    cmsSaveProfileToMem(profile.get(), bytes.data(), &size);
    // The creation date in the header, six 16-bit numbers: fixed, that of the standard.
    constexpr std::array<unsigned char, 12> Created{0x07, 0xcf, 0, 10, 0, 1};
    std::ranges::copy(std::as_bytes(std::span(Created)), bytes.begin() + 24);
    return ICCProfile::CreateFromBytes(bytes);
}

}  // namespace

const Kernel::Consolidated<ICCProfile>& GetSRGB() {
    static Kernel::NeverDestroyed<const Kernel::Consolidated<ICCProfile>> profile(CreateSRGB());
    return *profile;
}

LcmsProfile OpenLinearSRGB(const LcmsContext& context) {
    LcmsProfile profile = OpenLcmsProfile(context, GetSRGB()->GetBytes());
    const LcmsCurve line(cmsBuildGamma(context.get(), 1));
    for (const cmsTagSignature curve : {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag}) {
        if (!cmsWriteTag(profile.get(), curve, line.get())) {
            throw std::bad_alloc();
        }
    }
    return profile;
}

}  // namespace Raster
