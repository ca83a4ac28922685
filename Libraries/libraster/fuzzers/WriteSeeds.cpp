// Writes what the fuzzers start from: WriteSeeds FOLDER makes FOLDER/<fuzzer>/<name>.

#include "colour/Lcms.h"
#include "tests/codecs/SampleFiles.h"
#include "tests/colour/SwappedProfile.h"

#include <tiffio.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace Raster::Testing {

namespace {

std::string ToText(std::span<const std::byte> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::string Save(const LcmsProfile& profile) {
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile.get(), nullptr, &size);
    std::string bytes(size, '\0');
    cmsSaveProfileToMem(profile.get(), bytes.data(), &size);
    return bytes;
}

LcmsProfile MakeTable(cmsUInt32Number from, double version) {
    const LcmsProfile source(from == TYPE_CMYK_16
                                 ? cmsCreateInkLimitingDeviceLink(cmsSigCmykData, 300)
                                 : cmsCreate_sRGBProfile());
    const LcmsProfile lab(cmsCreateLab4Profile(nullptr));
    const LcmsTransform transform(
        cmsCreateTransform(source.get(), from, lab.get(), TYPE_Lab_16, INTENT_PERCEPTUAL, 0));
    return LcmsProfile(
        transform ? cmsTransform2DeviceLink(transform.get(), version,
                                            cmsFLAGS_GUESSDEVICECLASS | cmsFLAGS_LOWRESPRECALC)
                  : nullptr);
}

/// A profile of inks with a table of all zeros.
LcmsProfile MakeInks() {
    LcmsProfile profile(MakeTable(TYPE_RGB_16, 2.1));
    cmsPipeline* const pipeline = cmsPipelineAlloc(nullptr, 4, 3);
    cmsPipelineInsertStage(pipeline, cmsAT_END, cmsStageAllocCLut16bit(nullptr, 2, 4, 3, nullptr));
    cmsWriteTag(profile.get(), cmsSigAToB0Tag, pipeline);
    cmsPipelineFree(pipeline);
    cmsSetColorSpace(profile.get(), cmsSigCmykData);
    return profile;
}

std::vector<std::pair<std::string, std::string>> MakeProfiles() {
    const LcmsCurve gamma(cmsBuildGamma(nullptr, 2.2));
    return {
        {"Standard", Save(LcmsProfile(cmsCreate_sRGBProfile()))},
        {"Swapped", ToText(MakeSwappedProfile()->GetBytes())},
        {"Grey", Save(LcmsProfile(cmsCreateGrayProfile(cmsD50_xyY(), gamma.get())))},
        {"Lab", Save(LcmsProfile(cmsCreateLab2Profile(nullptr)))},
        {"Table", Save(MakeTable(TYPE_RGB_16, 2.1))},
        {"TableOfVersion4", Save(MakeTable(TYPE_RGB_16, 4.3))},
        {"Inks", Save(MakeInks())},
    };
}

void Write(const std::filesystem::path& folder, const std::string& name, const std::string& bytes) {
    std::filesystem::create_directories(folder);
    std::ofstream(folder / name, std::ios::binary) << bytes;
}

const char* GetKind(const std::string& file) {
    switch (file[0]) {
        case '\x89':
            return "PNG";
        case '\xFF':
            return "JPEG";
        case 'R':
            return "WebP";
        default:
            return "TIFF";
    }
}

void WriteSeeds(const std::filesystem::path& folder) {
    for (const SampleFile& sample : GetSampleFiles()) {
        Write(folder / GetKind(sample.bytes), sample.name, sample.bytes);
    }
    constexpr std::array Compressions{COMPRESSION_CCITTFAX3, COMPRESSION_JPEG, COMPRESSION_LERC,
                                      COMPRESSION_WEBP, COMPRESSION_PIXARLOG};
    for (const int compression : Compressions) {
        const bool isFax = compression == COMPRESSION_CCITTFAX3;
        Write(folder / "TIFF", "Compression" + std::to_string(compression),
              MakeTIFF(compression, isFax ? 1 : 8, isFax ? 1 : 3).bytes);
    }
    for (const auto& [name, bytes] : MakeProfiles()) {
        Write(folder / "Profile", name, bytes);
    }
}

}  // namespace

}  // namespace Raster::Testing

int main(int argc, char** argv) {
    Raster::Testing::WriteSeeds(argc > 1 ? argv[1] : ".");
}
