#include "remote/objectreplacement/Mask.h"

#include "Raster/Compositing.h"
#include "Raster/Stages.h"

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

Picture ConvertTo(const DynamicBitmap& source, Format format,
                  const Raster::SpanStages& stages = {}) {
    auto picture =
        Kernel::MakeCounted<DynamicBitmap>(source.GetWidth(), source.GetHeight(), format);
    if (!Raster::Convert(*picture, source, GetRasterFlag(), stages)) {
        ThrowUnfinished();
    }
    return picture;
}

}  // namespace

Picture MakeMask(const DynamicBitmap& region) {
    return ConvertTo(region, GetMaskFormat(region.GetFormat()));
}

Picture DrawMask(const DynamicBitmap& mask) {
    return IsAlphaAlone(mask.GetFormat())
               ? ConvertTo(mask, Format::RGBA8, {Raster::CreateAlphaToGreyStage()})
               : ConvertTo(mask, Format::RGBA8);
}

}  // namespace Learning
