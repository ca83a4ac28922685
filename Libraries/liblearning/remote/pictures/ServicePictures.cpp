#include "remote/pictures/ServicePictures.h"

#include "Raster/DynamicFile.h"
#include "Raster/ICCManager.h"
#include "Raster/Pipeline.h"
#include "Raster/Stages.h"

#include "remote/control/ControlInForce.h"

#include <stdexcept>
#include <type_traits>

namespace Learning {

Kernel::Consolidated<Raster::ICCProfile> GetServiceProfile() {
    return Raster::ICCManager::GetProfileForString("sRGB IEC61966-2.1");
}

bool* GetRasterFlag() noexcept {
    // The raster library reads the bool in the atomic one, as std::atomic_ref does.
    static_assert(sizeof(std::atomic<bool>) == sizeof(bool) &&
                  std::is_standard_layout_v<std::atomic<bool>>);
    return reinterpret_cast<bool*>(const_cast<std::atomic<bool>*>(ControlInForce::GetFlag()));
}

void ThrowUnfinished() {
    Kernel::ThrowIfAborted(ControlInForce::GetFlag());
    throw std::runtime_error("a picture could not be rendered");
}

Raster::Rect FindVisible(const Raster::DynamicBitmap* picture) {
    const Raster::Rect box =
        picture != nullptr ? picture->GetAlphaBoundingBox(GetRasterFlag()) : Raster::Rect{};
    Kernel::ThrowIfAborted(ControlInForce::GetFlag());
    return box;
}

Picture RenderForService(const Raster::DynamicBitmap& source,
                         const Kernel::Consolidated<Raster::ICCProfile>& profile,
                         const Raster::AffineTransform::Params& transform, int width, int height) {
    auto picture = Kernel::MakeCounted<Raster::DynamicBitmap>(width, height, Raster::Format::RGBA8);
    picture->SetProfile(GetServiceProfile());
    Raster::Rendering rendering;
    rendering.transform = transform;
    rendering.sampler = Raster::Sampler::Bicubic;
    rendering.blend = Raster::Blend::Over;  // leaves no colour where the result is transparent
    if (!AddColours(rendering, Raster::ICCManager::CreateConversion(source.GetFormat(), profile,
                                                                    picture->GetFormat(),
                                                                    picture->GetProfile()))) {
        throw std::invalid_argument("the profile of a picture is for other colours than it has");
    }
    // What the source's alpha of 16 bits hides but not wholly, that of 8 bits does.
    rendering.stages.push_back(Raster::CreateClearHiddenStage(picture->GetPixelFormat()));
    using ToService = Raster::Pipeline<Raster::DynamicBitmap, Raster::DynamicBitmap>;
    if (Raster::IsPossible(rendering) &&
        !ToService::Run(*picture, source, nullptr, picture->GetBounds(), rendering,
                        GetRasterFlag())) {
        ThrowUnfinished();
    }
    return picture;
}

Picture DecodePicture(Kernel::InStream& file, PixelBudget& budget, Raster::Format format,
                      const Kernel::Consolidated<Raster::ICCProfile>& profile) {
    Raster::DynamicFile decoder;
    if (!decoder.CreateFromStream(file) || !budget.Take(decoder.GetWidth(), decoder.GetHeight())) {
        return nullptr;
    }
    auto picture =
        Kernel::MakeCounted<Raster::DynamicBitmap>(decoder.GetWidth(), decoder.GetHeight(), format);
    picture->SetProfile(profile);
    const bool isRead = decoder.ReadPixels(*picture, GetRasterFlag());
    Kernel::ThrowIfAborted(ControlInForce::GetFlag());
    return isRead ? picture : nullptr;
}

}  // namespace Learning
