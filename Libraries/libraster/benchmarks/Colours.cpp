#include "PixelRows.h"

#include <lcms2.h>

#include <algorithm>

// Rows between colour profiles, and lcms2 as a peer: libraster builds on it, so it is always there.

namespace PixelPeers {

namespace {

/// The profile as serialised, whose numbers have less precision than those in memory.
std::vector<std::byte> Save(cmsHPROFILE profile) {
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    std::vector<std::byte> bytes(size);
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    return bytes;
}

std::shared_ptr<void> Open(const std::vector<std::byte>& bytes) {
    const auto size = static_cast<cmsUInt32Number>(bytes.size());
    return {cmsOpenProfileFromMem(bytes.data(), size), cmsCloseProfile};
}

std::shared_ptr<void> CreateTransform(cmsUInt32Number from, cmsUInt32Number to) {
    const auto narrow = Open(Save(cmsCreate_sRGBProfile()));
    const auto wide = Open(MakeWideProfile());
    return {cmsCreateTransform(narrow.get(), from, wide.get(), to, INTENT_RELATIVE_COLORIMETRIC,
                               cmsFLAGS_COPY_ALPHA),
            cmsDeleteTransform};
}

/// `maximum` stands for 1.
template <class Sample>
Row MakeRow(const char* name, cmsUInt32Number format, Sample maximum, double tolerance) {
    const auto makeSource = [=](Size size) {
        Bytes source = MakeNoise<Sample>(size.GetPixelCount() * 4);
        Sample* const samples = source.As<Sample>();
        std::transform(samples, samples + size.GetPixelCount() * 4, samples,
                       [=](Sample value) { return std::clamp(value, Sample{}, maximum); });
        return source;
    };
    const auto getDifference = [=](const Task& task) {
        const std::size_t count = task.size.GetPixelCount() / 16;
        std::vector<float> expected(count * 4);
        cmsDoTransform(CreateTransform(format, TYPE_RGBA_FLT).get(), task.source.As<Sample>(),
                       expected.data(), static_cast<cmsUInt32Number>(count));
        std::for_each(expected.begin(), expected.end(), [=](float& value) {
            value *= maximum;
            value = maximum > 1 ? std::round(value) : value;
        });
        // lcms2 clamps colours out of gamut, others do not.
        std::vector<float> got(count * 4);
        std::transform(task.destination.As<Sample>(), task.destination.As<Sample>() + got.size(),
                       got.begin(),
                       [=](Sample value) { return std::clamp(value, Sample{}, maximum); });
        return GetMaximumDifference(got.data(), expected.data(), count * 4);
    };
    return {name, {Large}, makeSource, 4 * sizeof(Sample), getDifference, tolerance};
}

Peer Transform(const char* row, cmsUInt32Number format) {
    const std::shared_ptr<void> transform = CreateTransform(format, format);
    return {"lcms2", row, InPlace([=](const Task& task) {
                Split(task.size.GetPixelCount(), [&](std::size_t first, std::size_t last) {
                    const std::size_t pixelSize = task.source.GetSize() / task.size.GetPixelCount();
                    cmsDoTransform(transform.get(), task.source.As<std::byte>() + first * pixelSize,
                                   task.destination.As<std::byte>() + first * pixelSize,
                                   static_cast<cmsUInt32Number>(last - first));
                });
            })};
}

}  // namespace

std::vector<std::byte> MakeWideProfile() {
    const cmsCIExyY white{0.3127, 0.3290, 1};
    const cmsCIExyYTRIPLE primaries{{0.64, 0.33, 1}, {0.21, 0.71, 1}, {0.15, 0.06, 1}};
    cmsToneCurve* const gamma = cmsBuildGamma(nullptr, 2.19921875);
    cmsToneCurve* curves[] = {gamma, gamma, gamma};
    const cmsHPROFILE profile = cmsCreateRGBProfile(&white, &primaries, curves);
    cmsFreeToneCurve(gamma);
    return Save(profile);
}

std::vector<Row> MakeColourRows() {
    return {MakeRow<std::uint8_t>("ColoursOfRGBA8", TYPE_RGBA_8, 255, 1),
            MakeRow<float>("ColoursOfRGBAF", TYPE_RGBA_FLT, 1, 1e-4)};
}

std::vector<Peer> GetLcmsPeers() {
    return {Transform("ColoursOfRGBA8", TYPE_RGBA_8), Transform("ColoursOfRGBAF", TYPE_RGBA_FLT)};
}

}  // namespace PixelPeers
