#include "Kernel/Dispatch.h"
#include "Raster/Stages.h"

#include "commands/Commands.h"
#include "commands/PhotoCommand.h"
#include "failures/Failure.h"
#include "networks/Painting.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <functional>
#include <iomanip>
#include <limits>
#include <numeric>
#include <sstream>

namespace LearningApp {

namespace {

using Kernel::Counted;
using Learning::Tensor;

struct Click {
    float x;  // in pixels of the photo
    float y;
    float label;
};

/// Whether `text` is "X,Y", which it sets in `click`.
bool ReadPoint(const std::string& text, Click& click) {
    const char* const end = text.data() + text.size();
    const auto first = std::from_chars(text.data(), end, click.x);
    if (first.ec != std::errc() || first.ptr == end || *first.ptr != ',') {
        return false;
    }
    const auto second = std::from_chars(first.ptr + 1, end, click.y);
    return second.ec == std::errc() && second.ptr == end;
}

Click ParseClick(const std::string& text, float label, Size photo) {
    Click click{0, 0, label};
    ReadPoint(text, click);
    const bool isInside = click.x >= 0 && click.x < static_cast<float>(photo.width) &&
                          click.y >= 0 && click.y < static_cast<float>(photo.height);
    if (!isInside) {  // nor if it is no number
        throw WrongUse("the point %1 is outside the photo, which is %2 x %3 pixels", text,
                       photo.width, photo.height);
    }
    return click;
}

std::vector<Click> ParseClicks(const SegmentOptions& options, Size photo) {
    std::vector<Click> clicks;
    for (const std::string& text : options.inside) {
        clicks.push_back(ParseClick(text, SegmentationDecoder::Inside, photo));
    }
    for (const std::string& text : options.outside) {
        clicks.push_back(ParseClick(text, SegmentationDecoder::Outside, photo));
    }
    return clicks;
}

Counted<Tensor> Encode(const Network& network, const Raster::DynamicBitmap& photo,
                       const PhotoColours& colours) {
    using namespace SegmentationEncoder;  // NOLINT(google-build-using-namespace): a table of facts
    const auto image = MakeTensor({1, 3, Side, Side}, 0.0F);
    const Size fitted = FitLongSide(GetSize(photo), Side);
    Learning::FillTensorCHW(*image, photo,
                            {.mappings = Colours,
                             .tensorArea = Raster::Rect{0, 0, fitted.width, fitted.height},
                             .stages = colours.toNetwork});
    auto embedding = MakeTensor({EmbeddingShape.begin(), EmbeddingShape.end()});
    network.Run({{Input, image}}, {{Output, embedding}});
    return embedding;
}

struct Decoded {
    Counted<Tensor> mask;  // above 0 inside
    float quality;         // 0..1
};

/// Asks for a mask of `maskSize`, which has the photo's proportions.
Decoded Decode(const Host& host, const Counted<Tensor>& embedding, const std::vector<Click>& clicks,
               Size photo, Size maskSize) {
    using namespace SegmentationDecoder;  // NOLINT(google-build-using-namespace): a table of facts
    const float scale = static_cast<float>(SegmentationEncoder::Side) /
                        static_cast<float>(std::max(photo.width, photo.height));
    std::vector<float> positions;
    std::vector<float> labels;
    for (const Click& click : clicks) {
        positions.insert(positions.end(), {click.x * scale, click.y * scale});
        labels.push_back(click.label);
    }
    positions.insert(positions.end(), {0, 0});
    labels.push_back(End);
    const int count = static_cast<int>(labels.size());
    const std::vector<float> wanted{static_cast<float>(maskSize.height),
                                    static_cast<float>(maskSize.width)};
    const auto mask = MakeTensor({1, 1, maskSize.height, maskSize.width});
    const auto quality = MakeTensor({1, 1});
    host.GetNetwork(ModelType::SegmentationDecoder)
        .Run({{Embedding, embedding},
              {Positions, MakeTensor({1, count, 2}, positions)},
              {Labels, MakeTensor({1, count}, labels)},
              {EarlierMask, MakeTensor({1, 1, EarlierMaskSide, EarlierMaskSide}, 0.0F)},
              {HasEarlierMask, MakeTensor({1}, 0.0F)},
              {PhotoSize, MakeTensor({2}, wanted)}},
             {{Masks, mask}, {Quality, quality}});
    // An estimate of the overlap with the thing, which may come out above 1.
    return {mask, std::clamp(quality->GetValueAtIndexedSubscript(0), 0.0F, 1.0F)};
}

/// Calls `job` with each of the rows 0 to `height` - 1, on many threads.
template <class Job>
void ForEachRow(int height, const Job& job) {
    std::vector<int> rows(static_cast<std::size_t>(height));
    std::iota(rows.begin(), rows.end(), 0);
    Kernel::Dispatch::DispatchParallelFor(job, rows.size(), rows.data(),
                                          Kernel::Dispatch::Priority::Normal,
                                          Kernel::Dispatch::ThreadPurpose::Pixels, 0);
}

/// How far, in pixels, each pixel of the mask lies inside the edge where the mask crosses 0;
/// negative outside. Far from the edge, where the distance does not matter, it ends at the reach
/// of 2.
Counted<Tensor> MeasureEdgeDistance(const Tensor& mask) {
    constexpr float Reach = 2;
    const std::vector<int> shape = mask.GetDimensions();
    const int height = shape[2];
    const int width = shape[3];
    const auto at = [width](int x, int y) {
        return static_cast<std::uint64_t>(y) * static_cast<std::uint64_t>(width) +
               static_cast<std::uint64_t>(x);
    };
    auto distance = MakeTensor(shape);
    ForEachRow(height, [&](int y) {
        // To first order the distance is the value over the length of its gradient.
        const auto slope = [&](int x1, int y1, int x2, int y2) {
            const float rise = mask.GetValueAtIndexedSubscript(at(x2, y2)) -
                               mask.GetValueAtIndexedSubscript(at(x1, y1));
            return rise / static_cast<float>(std::max(1, x2 - x1 + y2 - y1));
        };
        for (int x = 0; x < width; ++x) {
            const float across = slope(std::max(x - 1, 0), y, std::min(x + 1, width - 1), y);
            const float down = slope(x, std::max(y - 1, 0), x, std::min(y + 1, height - 1));
            const float gradient =
                std::max(std::hypot(across, down), std::numeric_limits<float>::min());
            const float value = mask.GetValueAtIndexedSubscript(at(x, y));
            distance->SetValueAtIndexedSubscript(at(x, y),
                                                 std::clamp(value / gradient, -Reach, Reach));
        }
    });
    return distance;
}

/// Changes a pixel by how much of it is inside, 0..1.
using MaskPainter = std::function<void(std::span<float, 4> pixel, float inside)>;

void ShowCutout(std::span<float, 4> pixel, float inside) {
    pixel[3] *= inside;
}

void ShowMask(std::span<float, 4> pixel, float inside) {
    std::fill_n(pixel.begin(), 3, inside);
    pixel[3] = 1;
}

/// Tints in the colours of the photo, whose own are not converted.
MaskPainter MakeOverlay(const PhotoColours& colours) {
    alignas(64) std::array<float, 4> tint{0.1F, 0.55F, 1, 1};
    for (const auto& stage : colours.toPhoto) {
        stage->Apply(tint.data(), 1);
    }
    return [tint](std::span<float, 4> pixel, float inside) {
        constexpr float Strength = 0.5F;
        for (std::size_t i = 0; i < 3; ++i) {
            pixel[i] += inside * Strength * (tint[i] - pixel[i]);
        }
    };
}

/// Lays a mask over `photo`, which may be larger, with an edge that is one pixel of the photo wide.
void ApplyMask(const Tensor& mask, SegmentOptions::Show show, const PhotoColours& colours,
               Raster::DynamicBitmap& photo) {
    const MaskPainter paint = show == SegmentOptions::Show::Cutout ? ShowCutout
                              : show == SegmentOptions::Show::Mask ? ShowMask
                                                                   : MakeOverlay(colours);
    PaintStages stages;
    if (show == SegmentOptions::Show::Cutout) {
        // What was cut away is not to be found in the file.
        stages.after = {Raster::CreateClearHiddenStage(photo.GetPixelFormat())};
    }
    const Counted<Tensor> distance = MeasureEdgeDistance(mask);
    const float scale =
        static_cast<float>(photo.GetWidth()) / static_cast<float>(mask.GetDimensions()[3]);
    PaintPlanes(
        *distance, photo,
        [&](std::span<float, 4> pixel, std::span<const float, 4> samples) {
            paint(pixel, std::clamp(0.5F + samples[0] * scale, 0.0F, 1.0F));
        },
        stages);
}

}  // namespace

std::string FindPointFault(const std::string& text) {
    Click click{};
    return ReadPoint(text, click)
               ? ""
               : text + " is not a point: write X,Y in pixels, for example 120,80";
}

void Segment(const Host& host, const PhotoTask& task, const SegmentOptions& options) {
    const auto use =
        options.show == SegmentOptions::Show::Overlay ? PhotoUse::Colouring : PhotoUse::AsItIs;
    const auto [photo, colours, network] = Begin(host, task, ModelType::SegmentationEncoder, use);
    const Size size = GetSize(*photo);
    const std::vector<Click> clicks = ParseClicks(options, size);

    // The decoder's own mask has 256 pixels a side: beyond the encoder's size there is nothing to
    // gain from it, and much memory to lose.
    const Size fitted = FitLongSide(size, SegmentationEncoder::Side);
    const Size maskSize = fitted.width < size.width || fitted.height < size.height ? fitted : size;
    const Decoded decoded = Decode(host, Encode(network, *photo, colours), clicks, size, maskSize);
    ApplyMask(*decoded.mask, options.show, colours, *photo);
    std::ostringstream quality;
    quality << ", predicted quality " << std::fixed << std::setprecision(2) << decoded.quality;
    Finish(host, task, *photo, quality.str());
}

}  // namespace LearningApp
