#include "segmentation/Segmenter.h"

#include "Kernel/Diagnostics.h"
#include "Learning/SegmentationNetworks.h"
#include "Raster/Compositing.h"

#include "drawing/CutOut.h"

#include <algorithm>
#include <exception>

namespace Service {

namespace {

using Kernel::Counted;
using Kernel::MakeCounted;
using Learning::Model;
using Learning::ModelCache;
using Learning::Tensor;

struct Size {
    int width;
    int height;
};

/// In pixels of the picture.
struct Place {
    int x;
    int y;
};

/// What the networks find at a place.
struct Finding {
    Counted<Tensor> mask;  // above 0 inside; null if a network has refused
    float quality = 0;     // as they estimate it
};

float GetEncoderScale(const Picture& picture) {
    return static_cast<float>(Learning::SegmentationEncoder::Side) /
           static_cast<float>(std::max(picture.GetWidth(), picture.GetHeight()));
}

Size Scale(const Picture& picture, float scale) {
    const auto side = [scale](int whole) {
        return std::max(static_cast<int>(std::lround(scale * static_cast<float>(whole))), 1);
    };
    return {side(picture.GetWidth()), side(picture.GetHeight())};
}

/// Where most is opaque around: the middle of what `alpha`, of the picture's size, shows.
Place FindMiddle(const std::vector<std::uint8_t>& alpha, int width, int height) {
    const PicturePointer opacity = MakePicture(width, height);
    const Raster::PixelView view = opacity->GetHostView();
    for (std::size_t i = 0; i < alpha.size(); ++i) {
        std::uint8_t* const pixel =
            GetPixel(view, static_cast<int>(i) % width, static_cast<int>(i) / width);
        pixel[0] = alpha[i];
        pixel[3] = 255;
    }
    const auto around = Raster::BoxFilter(*opacity, std::max(std::min(width, height) / 8, 1));
    const Raster::ConstPixelView sums = std::as_const(*around).GetHostView();
    Place best{width / 2, height / 2};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            if (GetPixel(sums, x, y)[0] > GetPixel(sums, best.x, best.y)[0]) {
                best = {x, y};
            }
        }
    }
    return best;
}

/// Null if the network refuses.
Counted<Tensor> Encode(Model& encoder, const Picture& picture) {
    using namespace Learning::SegmentationEncoder;  // NOLINT(google-build-using-namespace): facts
    const Size fitted = Scale(picture, GetEncoderScale(picture));
    const auto image = MakeCounted<Tensor>({1, 3, Side, Side}, 0.0F);
    Learning::FillTensorCHW(
        *image, picture,
        {.mappings = Colours, .tensorArea = Raster::Rect{0, 0, fitted.width, fitted.height}});
    const auto embedding =
        MakeCounted<Tensor>(std::vector<int>(EmbeddingShape.begin(), EmbeddingShape.end()));
    Model::TensorMap outputs{{Output, embedding}};
    return encoder.Execute({{Input, image}}, outputs) ? embedding : nullptr;
}

Finding Decode(Model& decoder, const Counted<Tensor>& embedding, const Picture& picture,
               const Place& place) {
    using namespace Learning::SegmentationDecoder;  // NOLINT(google-build-using-namespace): facts
    const float scale = GetEncoderScale(picture);
    const Size size = Scale(picture, std::min(scale, 1.0F));
    const std::vector<float> positions{(static_cast<float>(place.x) + 0.5F) * scale,
                                       (static_cast<float>(place.y) + 0.5F) * scale, 0, 0};
    const auto mask = MakeCounted<Tensor>({1, 1, size.height, size.width});
    const auto quality = MakeCounted<Tensor>({1, 1});
    Model::TensorMap outputs{{Masks, mask}, {Quality, quality}};
    const bool isRun = decoder.Execute(
        {{Embedding, embedding},
         {Positions, MakeCounted<Tensor>({1, 2, 2}, positions)},
         {Labels, MakeCounted<Tensor>({1, 2}, std::vector<float>{Inside, End})},
         {EarlierMask, MakeCounted<Tensor>({1, 1, EarlierMaskSide, EarlierMaskSide}, 0.0F)},
         {HasEarlierMask, MakeCounted<Tensor>({1}, 0.0F)},
         {PhotoSize, MakeCounted<Tensor>({2}, std::vector<float>{static_cast<float>(size.height),
                                                                 static_cast<float>(size.width)})}},
        outputs);
    return isRun ? Finding{mask, quality->GetValueAtIndexedSubscript(0)} : Finding{};
}

struct Shares {
    double inside;    // of all pixels
    double atBorder;  // of those at the left, upper and right border
};

Shares CountInside(const Tensor& mask) {
    const int height = mask.GetDimensions()[2];
    const int width = mask.GetDimensions()[3];
    double inside = 0;
    double atBorder = 0;
    std::uint64_t index = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x, ++index) {
            if (mask.GetValueAtIndexedSubscript(index) > 0) {
                ++inside;
                atBorder += y == 0 || x == 0 || x == width - 1 ? 1 : 0;
            }
        }
    }
    return {inside / width / height, atBorder / (2.0 * height + width)};
}

/// How likely a finding is what the picture is of: that is near the middle, and touches no border
/// but the lower one. Negative for next to nothing and next to all.
double Rate(const Finding& finding, const Picture& picture, const Place& place) {
    constexpr double Least = 0.005;
    constexpr double Most = 0.98;
    const Shares shares = finding.mask ? CountInside(*finding.mask) : Shares{};
    if (shares.inside < Least || shares.inside > Most) {
        return -1;
    }
    const double u = 2.0 * place.x / picture.GetWidth() - 1;
    const double v = 2.0 * place.y / picture.GetHeight() - 1;
    return std::max(finding.quality - 0.5 * shares.atBorder - 0.2 * (u * u + v * v), 0.0);
}

/// The mask, whose values are the logarithms of odds, with a soft edge and the picture's own alpha.
std::vector<std::uint8_t> ToAlpha(const Tensor& mask, const Picture& picture) {
    const PicturePointer soft = MakePicture(picture.GetWidth(), picture.GetHeight());
    constexpr Learning::ChannelMapping HalfAtZero{2, 1, 1};
    Learning::ReadTensorCHW(mask, *soft, {.mappings = {HalfAtZero}});
    const Raster::ConstPixelView opacities = std::as_const(*soft).GetHostView();
    const Raster::ConstPixelView view = picture.GetHostView();
    std::vector<std::uint8_t> alpha;
    alpha.reserve(static_cast<std::size_t>(view.width) * static_cast<std::size_t>(view.height));
    for (int y = 0; y < view.height; ++y) {
        for (int x = 0; x < view.width; ++x) {
            alpha.push_back(static_cast<std::uint8_t>(GetPixel(opacities, x, y)[0] *
                                                      GetPixel(view, x, y)[3] / 255));
        }
    }
    return alpha;
}

std::optional<std::vector<std::uint8_t>> FindThing(Model& encoder, Model& decoder,
                                                   const Picture& picture) {
    const Counted<Tensor> embedding = Encode(encoder, picture);
    if (!embedding) {
        return {};
    }
    const int width = picture.GetWidth();
    const int height = picture.GetHeight();
    Counted<Tensor> best;
    double bestRating = -1;
    // What stands on the ground has more of itself below the middle.
    for (const Place& place :
         {Place{width / 2, height * 3 / 5}, FindMiddle(FindForeground(picture), width, height)}) {
        const Finding finding = Decode(decoder, embedding, picture, place);
        if (const double rating = Rate(finding, picture, place); rating > bestRating) {
            bestRating = rating;
            best = finding.mask;
        }
    }
    return best ? std::optional(ToAlpha(*best, picture)) : std::nullopt;
}

}  // namespace

Segmenter::Segmenter(const std::string& folder) : m_hasFolder(!folder.empty()) {
    m_models.SetModelCacheFolder(folder);
}

bool Segmenter::IsInstalled() const {
    return m_hasFolder && m_models.IsModelAvailable(ModelCache::SegmentationEncoder) &&
           m_models.IsModelAvailable(ModelCache::SegmentationDecoder);
}

std::optional<std::vector<std::uint8_t>> Segmenter::Find(const Picture& picture) {
    if (!IsInstalled()) {
        return {};
    }
    try {
        const Counted<Model> encoder = m_models.GetModel(ModelCache::SegmentationEncoder);
        const Counted<Model> decoder = m_models.GetModel(ModelCache::SegmentationDecoder);
        return encoder && decoder ? FindThing(*encoder, *decoder, picture) : std::nullopt;
    } catch (const std::exception& error) {  // of the runtime: there is another way without it
        Kernel::Log::Write("The segmentation networks can't be used: %1\n", error.what());
        return {};
    }
}

}  // namespace Service
