#include "remote/objectreplacement/Mask.h"

#include "Raster/Compositing.h"
#include "Raster/PixelAccessor.h"

#include <algorithm>
#include <cstdint>

namespace Learning {

namespace {

using Raster::DynamicBitmap;
using Raster::Format;

Format GetMaskFormat(Format format) noexcept {
    switch (format) {
        case Format::RGBA16:
        case Format::GreyA16:
        case Format::LabA16:
        case Format::Alpha16:
            return Format::Alpha16;
        case Format::RGBAF:
        case Format::AlphaF:
            return Format::AlphaF;
        default:
            return Format::Alpha8;
    }
}

bool IsAlphaAlone(Format format) noexcept {
    return format == Format::Alpha8 || format == Format::Alpha16 || format == Format::AlphaF;
}

Picture ConvertTo(const DynamicBitmap& source, Format format) {
    auto picture =
        Kernel::MakeCounted<DynamicBitmap>(source.GetWidth(), source.GetHeight(), format);
    if (!Raster::Convert(*picture, source, GetRasterFlag())) {
        ThrowUnfinished();
    }
    return picture;
}

/// Makes the alpha of `picture`, in RGBA8, its grey, and all of it opaque.
void DrawAlpha(DynamicBitmap& picture) {
    constexpr std::byte Opaque{255};
    const Raster::PixelAccessor accessor(picture);
    const Raster::PixelView& pixels = accessor.GetView();
    for (int y = 0; y < pixels.height; ++y) {
        std::byte* const row = pixels.At(0, y);
        for (int x = 0; x < pixels.width; ++x) {
            std::fill_n(row + 4 * x, 3, row[4 * x + 3]);
            row[4 * x + 3] = Opaque;
        }
    }
}

}  // namespace

Picture MakeMask(const DynamicBitmap& region) {
    return ConvertTo(region, GetMaskFormat(region.GetFormat()));
}

Picture DrawMask(const DynamicBitmap& mask) {
    Picture picture = ConvertTo(mask, Format::RGBA8);
    if (IsAlphaAlone(mask.GetFormat())) {
        DrawAlpha(*picture);
    }
    return picture;
}

}  // namespace Learning
