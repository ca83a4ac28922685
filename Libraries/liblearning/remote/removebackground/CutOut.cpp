#include "remote/removebackground/CutOut.h"

#include "Kernel/IoException.h"
#include "Kernel/ZipArchive.h"
#include "Raster/Compositing.h"
#include "Raster/Stages.h"

#include "remote/control/ControlInForce.h"

namespace Learning {

namespace {

using Raster::DynamicBitmap;

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

Picture Join(const Kernel::ZipArchive& archive, int width, int height, PixelBudget& budget) {
    const Picture grey = DecodePicture(*archive.Open("alpha.png"), budget, Raster::Format::GreyA8);
    const Picture alpha = grey ? TakeAlpha(*grey) : nullptr;
    Picture joined = DecodePicture(*archive.Open("color.jpg"), budget, Raster::Format::RGBA8,
                                   GetServiceProfile());
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

Picture ReadCutOut(const Kernel::Counted<Kernel::MemoryInOutStream>& archive, int width, int height,
                   PixelBudget budget) {
    try {
        const auto zip =
            Kernel::MakeCounted<Kernel::ZipArchive>(archive, ControlInForce::GetFlag());
        Picture joined = Join(*zip, width, height, budget);
        Kernel::ThrowIfAborted(ControlInForce::GetFlag());
        return joined;
    } catch (const Kernel::IoException&) {
        return nullptr;  // it is damaged, or lacks an entry
    }
}

}  // namespace Learning
