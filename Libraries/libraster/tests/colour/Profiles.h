// Profiles for tests, made by lcms2.

#pragma once

#include "Raster/ICCManager.h"

#include "colour/Lcms.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace Raster::Testing {

using Profile = Kernel::Consolidated<ICCProfile>;

inline Profile Read(const LcmsProfile& profile) {
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile.get(), nullptr, &size);
    std::vector<std::byte> bytes(size);
    cmsSaveProfileToMem(profile.get(), bytes.data(), &size);
    return ICCProfile::CreateFromBytes(bytes);
}

/// A gamut wider than sRGB's, with the same white point. Takes ownership of the curves.
inline Profile MakeWide(cmsToneCurve* red, cmsToneCurve* green, cmsToneCurve* blue) {
    const LcmsCurve owners[]{LcmsCurve(red), LcmsCurve(green), LcmsCurve(blue)};
    const cmsCIExyY white{0.3127, 0.3290, 1};
    const cmsCIExyYTRIPLE primaries{{0.64, 0.33, 1}, {0.21, 0.71, 1}, {0.15, 0.06, 1}};
    cmsToneCurve* curves[]{red, green, blue};
    return Read(LcmsProfile(cmsCreateRGBProfile(&white, &primaries, curves)));
}

inline Profile MakeWide(cmsToneCurve* curve) {
    return MakeWide(curve, cmsDupToneCurve(curve), cmsDupToneCurve(curve));
}

inline cmsToneCurve* Sample(cmsUInt32Number count, double gamma) {
    std::vector<cmsUInt16Number> samples(count);
    std::ranges::generate(samples, [i = 0, last = count - 1.0, gamma]() mutable {
        return static_cast<cmsUInt16Number>(65535 * std::pow(i++ / last, gamma) + 0.5);
    });
    return cmsBuildTabulatedToneCurve16(nullptr, count, samples.data());
}

inline Profile MakeSampled(cmsUInt32Number count) {
    return MakeWide(Sample(count, 2.2));
}

/// Adds a table that makes everything black.
inline void AddBlackTable(const LcmsProfile& profile, cmsUInt32Number channels) {
    cmsPipeline* const pipeline = cmsPipelineAlloc(nullptr, channels, 3);
    cmsStage* const table = cmsStageAllocCLut16bit(nullptr, 2, channels, 3, nullptr);
    cmsPipelineInsertStage(pipeline, cmsAT_END, table);
    cmsWriteTag(profile.get(), cmsSigAToB0Tag, pipeline);
    cmsPipelineFree(pipeline);
}

inline LcmsTransform MakeTransformToLab(cmsUInt32Number from, cmsUInt32Number to) {
    return LcmsTransform(cmsCreateTransform(LcmsProfile(cmsCreate_sRGBProfile()).get(), from,
                                            LcmsProfile(cmsCreateLab4Profile(nullptr)).get(), to, 1,
                                            cmsFLAGS_COPY_ALPHA));
}

/// sRGB as an input profile of a scanner, with a look-up table (AToB) only.
inline LcmsProfile MakeTable() {
    return LcmsProfile(cmsTransform2DeviceLink(MakeTransformToLab(TYPE_RGB_16, TYPE_Lab_16).get(),
                                               2.1, cmsFLAGS_GUESSDEVICECLASS));
}

inline Profile MakeGrey(cmsToneCurve* curve) {
    const LcmsCurve owner(curve);
    return Read(LcmsProfile(cmsCreateGrayProfile(cmsD50_xyY(), curve)));
}

/// A printer's profile: paper that is not white, inks that do not cover, black that is not black.
/// It can only be converted from unless `hasWayBack`.
inline Profile MakeInks(bool hasWayBack = true) {
    const LcmsProfile profile(cmsCreateProfilePlaceholder(nullptr));
    cmsSetProfileVersion(profile.get(), 2.1);
    cmsSetDeviceClass(profile.get(), cmsSigOutputClass);
    cmsSetColorSpace(profile.get(), cmsSigCmykData);
    cmsSetPCS(profile.get(), cmsSigLabData);
    const LcmsTransform toLab = MakeTransformToLab(TYPE_RGB_FLT, TYPE_LabV2_16);
    const auto print = [](const cmsUInt16Number* in, cmsUInt16Number* out, void* transform) {
        constexpr float Paper[] = {0.97F, 0.95F, 0.88F};
        float rgb[3];
        for (int i = 0; i < 3; ++i) {
            const auto unit = [in](int ink) { return static_cast<float>(in[ink]) / 65535; };
            rgb[i] = Paper[i] * (1 - 0.9F * unit(i)) * (1 - 0.05F * unit((i + 1) % 3)) *
                     (1 - 0.8F * unit(3));
        }
        cmsDoTransform(transform, rgb, out, 1);
        return cmsInt32Number{1};
    };
    // From Lab, not by the way back of the above: lightness to black, chroma to colours.
    const auto separate = [](const cmsUInt16Number* in, cmsUInt16Number* out, void* /*none*/) {
        for (int i = 0; i < 3; ++i) {
            out[i] = static_cast<cmsUInt16Number>((65535 - in[0]) / 3 + in[1 + i % 2] / 4);
        }
        out[3] = static_cast<cmsUInt16Number>((65535 - in[0]) / 2);
        return cmsInt32Number{1};
    };
    const auto add = [&](cmsTagSignature tag, cmsUInt32Number from, cmsUInt32Number to,
                         cmsSAMPLER16 sampler, void* cargo) {
        cmsPipeline* const pipeline = cmsPipelineAlloc(nullptr, from, to);
        cmsStage* const table = cmsStageAllocCLut16bit(nullptr, 9, from, to, nullptr);
        cmsStageSampleCLut16bit(table, sampler, cargo, 0);
        cmsPipelineInsertStage(pipeline, cmsAT_END, table);
        cmsWriteTag(profile.get(), tag, pipeline);
        cmsPipelineFree(pipeline);
    };
    add(cmsSigAToB0Tag, 4, 3, print, toLab.get());
    if (hasWayBack) {
        add(cmsSigBToA0Tag, 3, 4, separate, nullptr);
    }
    return Read(profile);
}

inline Profile GetSRGB() {
    return ICCManager::GetProfileForString("sRGB IEC61966-2.1");
}

}  // namespace Raster::Testing
