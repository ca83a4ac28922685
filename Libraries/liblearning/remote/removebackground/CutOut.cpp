#include "remote/removebackground/CutOut.h"

#include "Kernel/IoException.h"
#include "Kernel/ZipArchive.h"
#include "Raster/Compositing.h"
#include "Raster/DynamicFile.h"
#include "Raster/PixelAccessor.h"

#include "remote/control/ControlInForce.h"

namespace Learning {

namespace {

using Raster::DynamicBitmap;

/// The picture in an entry of the archive; null if there is none that can be read.
Picture ReadEntry(const Kernel::ZipArchive& archive, const char* name, Raster::Format format,
                  const Kernel::Consolidated<Raster::ICCProfile>& profile) {
    const Kernel::Counted<Kernel::InStream> entry = archive.Open(name);
    Raster::DynamicFile decoder;
    if (!decoder.CreateFromStream(*entry)) {
        return nullptr;
    }
    auto picture =
        Kernel::MakeCounted<DynamicBitmap>(decoder.GetWidth(), decoder.GetHeight(), format);
    picture->SetProfile(profile);
    return decoder.ReadPixels(*picture, GetRasterFlag()) ? picture : nullptr;
}

/// Makes the grey of `picture`, in GreyA8, its alpha.
void TakeGreyAsAlpha(DynamicBitmap& picture) {
    const Raster::PixelAccessor accessor(picture);
    const Raster::PixelView& pixels = accessor.GetView();
    for (int y = 0; y < pixels.height; ++y) {
        std::byte* const row = pixels.At(0, y);
        for (int x = 0; x < pixels.width; ++x) {
            row[2 * x + 1] = row[2 * x];
        }
    }
}

Picture Join(const Kernel::ZipArchive& archive, int width, int height) {
    Picture alpha = ReadEntry(archive, "alpha.png", Raster::Format::GreyA8, {});
    Picture colour = ReadEntry(archive, "color.jpg", Raster::Format::RGBA8, GetServiceProfile());
    if (!alpha || !colour || alpha->GetBounds() != colour->GetBounds()) {
        return nullptr;
    }
    if (alpha->GetInverseAlphaBoundingBox() == Raster::EmptyRect) {
        TakeGreyAsAlpha(*alpha);
    }
    Picture joined = Raster::JoinAlpha(*colour, *alpha, GetRasterFlag());
    if (joined && joined->GetBounds() != Raster::Rect{0, 0, width, height}) {
        joined = Raster::Resize(*joined, width, height, Raster::Format::RGBA8,
                                Raster::Sampler::Bicubic, GetRasterFlag());
    }
    return joined;
}

}  // namespace

Picture ReadCutOut(const Kernel::Counted<Kernel::MemoryInOutStream>& archive, int width,
                   int height) {
    try {
        const auto zip =
            Kernel::MakeCounted<Kernel::ZipArchive>(archive, ControlInForce::GetFlag());
        Picture joined = Join(*zip, width, height);
        Kernel::ThrowIfAborted(ControlInForce::GetFlag());
        return joined;
    } catch (const Kernel::IoException&) {
        return nullptr;  // it is damaged, or lacks an entry
    }
}

}  // namespace Learning
