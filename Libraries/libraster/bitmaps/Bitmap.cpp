#include "Raster/Bitmap.h"

namespace Raster {

template <class C1, class C2, class C3, class C4, class C5>
Kernel::Counted<Bitmap<C1, C2, C3, C4, C5>> Bitmap<C1, C2, C3, C4, C5>::Clone(bool* abort) const {
    Kernel::Counted<Bitmap> clone = CloneEmpty();
    return CopyTo(*clone, abort) ? clone : nullptr;
}

template <class C1, class C2, class C3, class C4, class C5>
Kernel::Counted<Bitmap<C1, C2, C3, C4, C5>> Bitmap<C1, C2, C3, C4, C5>::CloneEmpty() const {
    Kernel::Counted<Bitmap> empty = Kernel::MakeCounted<Bitmap>(
        GetWidth(0), GetHeight(0), GetMipmapMode(), GetHardwareCachePolicy());
    empty->SetProfile(GetProfile());
    return empty;
}

#define RASTER_FORMAT(NAME, CODE, ...)                                 \
    ORVANTIS_INSTANTIATE(ModelBase<Bitmap<__VA_ARGS__>, __VA_ARGS__>); \
    ORVANTIS_INSTANTIATE(Bitmap<__VA_ARGS__>);
#include "Raster/HostFormats.inc"

}  // namespace Raster
