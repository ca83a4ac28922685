#include "remote/removebackground/CutOut.h"

#include "Kernel/IoException.h"
#include "Kernel/ZipArchive.h"
#include "Raster/Compositing.h"
#include "Raster/DynamicFile.h"
#include "Raster/Stages.h"

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

/// What of `picture`, in GreyA8, is alpha: its own, or its grey if all of it is opaque.
Picture TakeAlpha(const DynamicBitmap& picture) {
    Raster::SpanStages stages;
    if (picture.GetInverseAlphaBoundingBox() == Raster::EmptyRect) {
        stages.push_back(Raster::CreateLumaToAlphaStage());
    }
    auto alpha = Kernel::MakeCounted<DynamicBitmap>(picture.GetWidth(), picture.GetHeight(),
                                                    Raster::Format::Alpha8);
    return Raster::Convert(*alpha, picture, GetRasterFlag(), stages) ? alpha : nullptr;
}

Picture Join(const Kernel::ZipArchive& archive, int width, int height) {
    const Picture grey = ReadEntry(archive, "alpha.png", Raster::Format::GreyA8, {});
    const Picture alpha = grey ? TakeAlpha(*grey) : nullptr;
    Picture joined = ReadEntry(archive, "color.jpg", Raster::Format::RGBA8, GetServiceProfile());
    if (!alpha || !joined || !Raster::SetAlpha(*joined, *alpha, GetRasterFlag())) {
        return nullptr;
    }
    if (joined->GetBounds() != Raster::Rect{0, 0, width, height}) {
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
