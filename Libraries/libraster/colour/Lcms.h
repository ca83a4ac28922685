// lcms2 with handles that release themselves. Other sources include lcms2 only through this header.

#pragma once

#include <cstddef>
#include <memory>
#include <span>

#define CMS_NO_REGISTER_KEYWORD  // C++17 has no register variables
#include <lcms2.h>

namespace Raster {

template <auto Release>
struct LcmsDeleter {
    template <class T>
    void operator()(T* handle) const noexcept {
        Release(handle);
    }
};

using LcmsContext = std::unique_ptr<_cmsContext_struct, LcmsDeleter<cmsDeleteContext>>;
using LcmsProfile = std::unique_ptr<void, LcmsDeleter<cmsCloseProfile>>;
using LcmsTransform = std::unique_ptr<void, LcmsDeleter<cmsDeleteTransform>>;
using LcmsText = std::unique_ptr<cmsMLU, LcmsDeleter<cmsMLUfree>>;
using LcmsCurve = std::unique_ptr<cmsToneCurve, LcmsDeleter<cmsFreeToneCurve>>;

/// A context that logs nothing and limits the size of each allocation. It must outlive all that is
/// made in it; each user makes its own, so threads share none.
LcmsContext CreateLcmsContext();

/// A profile, ready for conversions; null if lcms2 cannot read it. `bytes` are copied.
LcmsProfile OpenLcmsProfile(const LcmsContext& context, std::span<const std::byte> bytes);

/// A transform between pixels of four floats, rendering intent relative colorimetric with black
/// point compensation: RGB and alpha, grey and three floats, or CMYK in per cent. Floats beyond the
/// colours stay as they are if pixels are converted in place. Null if there is none. Thread-safe.
LcmsTransform CreateLcmsTransform(const LcmsContext& context, const LcmsProfile& from,
                                  const LcmsProfile& to);

}  // namespace Raster
