#include "codecs/Decoder.h"

#include "Kernel/Format.h"
#include "Raster/AbortFlag.h"
#include "Raster/CodecException.h"
#include "Raster/DynamicFile.h"
#include "Raster/ICCManager.h"

namespace Raster {

Decoder::~Decoder() = default;

void CheckSize(const char* kind, std::uint64_t width, std::uint64_t height) {
    constexpr std::uint64_t MaximumSide = DynamicFile::MaximumSide;
    if (width > MaximumSide || height > MaximumSide) {
        throw CodecException(Kernel::Format("the %1 picture of %2 x %3 pixels is too large: at "
                                            "most %4 a side can be read",
                                            kind, width, height, MaximumSide)
                                 .c_str());
    }
}

void CheckAbort(const bool* abort) {
    if (IsAborted(abort)) {
        throw CodecException("the reading was aborted");
    }
}

Kernel::Consolidated<ICCProfile> KeepFitting(const Kernel::Consolidated<ICCProfile>& profile,
                                             Format format) {
    const bool isFitting = profile && ICCManager::IsFitting(*profile, format);
    return isFitting ? profile : Kernel::Consolidated<ICCProfile>();
}

Kernel::Consolidated<ICCProfile> GetStandardProfile() {
    return ICCManager::GetProfileForString("sRGB IEC61966-2.1");
}

}  // namespace Raster
