#include "colour/Lcms.h"

#include <lcms2_plugin.h>

#include <array>
#include <cstdlib>
#include <new>

namespace Raster {

namespace {

/// Four times the largest profile, whose 8-bit tables lcms2 keeps with 16 bits. A short file can
/// claim a table of 512 MB, which lcms2 would clear before it misses the data.
constexpr cmsUInt32Number MaximumAllocation = 64 << 20;

void* Reallocate(cmsContext /*context*/, void* block, cmsUInt32Number size) {
    return size <= MaximumAllocation ? std::realloc(block, size) : nullptr;
}

void* Allocate(cmsContext context, cmsUInt32Number size) {
    return Reallocate(context, nullptr, size);
}

void Free(cmsContext /*context*/, void* block) {
    std::free(block);
}

/// Pixels of four floats, of which a profile of fewer channels uses the first.
cmsUInt32Number FindPixelType(const LcmsProfile& profile) {
    const cmsUInt32Number type = cmsFormatterForColorspaceOfProfile(profile.get(), 4, TRUE);
    return type | EXTRA_SH(4 - T_CHANNELS(type));
}

}  // namespace

LcmsContext CreateLcmsContext() {
    cmsPluginMemHandler memory{};
    memory.base = {cmsPluginMagicNumber, 2000, cmsPluginMemHandlerSig, nullptr};
    memory.MallocPtr = Allocate;
    memory.FreePtr = Free;
    memory.ReallocPtr = Reallocate;
    // Errors go to the context's log handler, which is none by default.
    LcmsContext context(cmsCreateContext(&memory, nullptr));
    if (!context) {
        throw std::bad_alloc();
    }
    return context;
}

LcmsProfile OpenLcmsProfile(const LcmsContext& context, std::span<const std::byte> bytes) {
    LcmsProfile profile(cmsOpenProfileFromMemTHR(context.get(), bytes.data(),
                                                 static_cast<cmsUInt32Number>(bytes.size())));
    if (profile) {
        // Deliberate: multiProcessElements tags (DToB, BToD) have no limit to their cost per pixel.
        // They are optional, and profiles that have them have look-up tables (AToB, BToA) as well.
        for (const cmsTagSignature chain :
             {cmsSigDToB0Tag, cmsSigDToB1Tag, cmsSigDToB2Tag, cmsSigDToB3Tag, cmsSigBToD0Tag,
              cmsSigBToD1Tag, cmsSigBToD2Tag, cmsSigBToD3Tag}) {
            cmsWriteTag(profile.get(), chain, nullptr);
        }
    }
    return profile;
}

LcmsTransform CreateLcmsTransform(const LcmsContext& context, const LcmsProfile& from,
                                  const LcmsProfile& to) {
    std::array<cmsHPROFILE, 2> profiles{from.get(), to.get()};
    // Without the cache a transform has no state.
    return LcmsTransform(cmsCreateMultiprofileTransformTHR(
        context.get(), profiles.data(), static_cast<cmsUInt32Number>(profiles.size()),
        FindPixelType(from), FindPixelType(to), INTENT_RELATIVE_COLORIMETRIC,
        cmsFLAGS_BLACKPOINTCOMPENSATION | cmsFLAGS_NOCACHE));
}

}  // namespace Raster
