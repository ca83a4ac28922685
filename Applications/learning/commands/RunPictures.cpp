#include "commands/RunPictures.h"

#include "Raster/Compositing.h"

#include "files/Files.h"
#include "files/PhotoColours.h"
#include "networks/Painting.h"

#include <algorithm>
#include <cstring>

namespace LearningApp {

namespace {

using Kernel::Counted;
using Learning::Tensor;
using Raster::DynamicBitmap;

Size GetPlaneSize(const Tensor& planes) {
    const std::vector<int> shape = planes.GetDimensions();
    return {shape.end()[-1], shape.end()[-2]};
}

bool IsOfSize(const PhotoInput& input, Size size) {
    return input.photo->GetWidth() == size.width && input.photo->GetHeight() == size.height;
}

/// The photo that `planes` come from, as far as shapes tell; null if there is none.
const PhotoInput* FindOrigin(const Tensor& planes, const std::vector<PhotoInput>& inputs) {
    const auto likeness = [&planes](const PhotoInput& input) {
        return input.planes->GetDimensions() == planes.GetDimensions() ? 2
               : IsOfSize(input, GetPlaneSize(planes))                 ? 1
                                                                       : 0;
    };
    const auto found = std::ranges::max_element(inputs, {}, likeness);
    return found != inputs.end() ? &*found : nullptr;
}

/// How many elements one plane has.
std::uint64_t CountElements(const Tensor& planes) {
    const auto [width, height] = GetPlaneSize(planes);
    return static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
}

/// Whether no pixel has a colour.
bool IsGreyThroughout(const Tensor& planes, int channelCount) {
    const std::uint64_t count = CountElements(planes);
    for (std::uint64_t i = 0; channelCount >= 3 && i < count; ++i) {
        const float red = planes.GetValueAtIndexedSubscript(i);
        if (planes.GetValueAtIndexedSubscript(count + i) != red ||
            planes.GetValueAtIndexedSubscript(2 * count + i) != red) {
            return false;
        }
    }
    return true;
}

/// An empty picture of the kind of `photo`, with colours if need be.
Counted<DynamicBitmap> MakeLike(const DynamicBitmap& photo, Size size, bool isGrey) {
    const bool isKept = isGrey || !IsGrey(photo.GetFormat());
    auto picture = MakePicture(size.width, size.height,
                               isKept ? photo.GetFormat() : WithColours(photo.GetFormat()));
    const auto profile = photo.GetProfile();
    const bool isFitting =
        isKept || !profile || profile->GetColourSpace() == Raster::ColourSpace::RGB;
    picture->SetProfile(isFitting ? profile : GetNetworkProfile());
    return picture;
}

void Paint(const Tensor& planes, int channelCount, bool keepsAlpha, DynamicBitmap& picture) {
    const PhotoColours colours = FindColours(picture.GetProfile()).value_or(PhotoColours());
    PaintPlanes(planes, picture,
                [=](std::span<float, 4> pixel, std::span<const float, 4> samples) {
                    for (std::size_t i = 0; i < 3; ++i) {
                        pixel[i] = samples[channelCount == 1 ? 0 : i];
                    }
                    if (!keepsAlpha) {
                        pixel[3] = samples[3];
                    }
                },
                {{}, colours.toPhoto});
}

/// Takes pixels from the photo, which is of the same format, where all samples came back unchanged:
/// converting them there and back would round them.
void KeepUnchanged(const PhotoInput& origin, const Tensor& planes, int channelCount,
                   DynamicBitmap& picture) {
    const auto width = static_cast<std::uint64_t>(picture.GetWidth());
    const std::uint64_t count = CountElements(planes);
    const Raster::PixelView to = picture.GetHostView();
    const Raster::ConstPixelView from = std::as_const(*origin.photo).GetHostView();
    for (std::uint64_t i = 0; i < count; ++i) {
        bool isSame = true;
        for (std::uint64_t at = i; at < static_cast<std::uint64_t>(channelCount) * count;
             at += count) {
            isSame = isSame && planes.GetValueAtIndexedSubscript(at) ==
                                   origin.planes->GetValueAtIndexedSubscript(at);
        }
        if (isSame) {
            const auto x = static_cast<int>(i % width);
            const auto y = static_cast<int>(i / width);
            std::memcpy(to.At(x, y), from.At(x, y), to.format->GetPixelSize());
        }
    }
}

}  // namespace

int CountPictureChannels(std::vector<int> shape) {
    if (shape.size() < 2 || shape.size() > 4) {
        return 0;
    }
    shape.insert(shape.begin(), 4 - shape.size(), 1);
    const bool isPicture = shape[0] == 1 && (shape[1] == 1 || shape[1] == 3 || shape[1] == 4) &&
                           IsPictureSize(shape[3], shape[2]);
    return isPicture ? shape[1] : 0;
}

Counted<DynamicBitmap> MakeResult(const Tensor& planes, const std::vector<PhotoInput>& inputs) {
    const int channelCount = CountPictureChannels(planes.GetDimensions());
    const Size size = GetPlaneSize(planes);
    const PhotoInput* const origin = FindOrigin(planes, inputs);
    if (origin == nullptr) {
        auto picture = MakePicture(size.width, size.height, Raster::Format::RGBA8);
        Paint(planes, channelCount, false, *picture);
        return picture;
    }
    const DynamicBitmap& photo = *origin->photo;
    auto picture = MakeLike(photo, size, IsGreyThroughout(planes, channelCount));
    const bool isItsPicture =
        IsOfSize(*origin, size) && (channelCount >= 3 || IsGrey(photo.GetFormat()));
    const bool keepsAlpha = isItsPicture && channelCount != 4;
    if (keepsAlpha) {
        Raster::Convert(*picture, photo);
    }
    Paint(planes, channelCount, keepsAlpha, *picture);
    if (isItsPicture && picture->GetFormat() == photo.GetFormat() &&
        origin->planes->GetDimensions() == planes.GetDimensions()) {
        KeepUnchanged(*origin, planes, channelCount, *picture);
    }
    return picture;
}

}  // namespace LearningApp
