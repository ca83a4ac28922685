#include "commands/Commands.h"
#include "commands/PhotoCommand.h"
#include "networks/Painting.h"

#include <algorithm>
#include <cmath>

namespace LearningApp {

namespace {

/// The size in which the network sees a photo of `size`.
Size FindWorkingSize(Size size) {
    using namespace Colourisation;  // NOLINT(google-build-using-namespace): a table of facts
    const auto [shorter, longer] = std::minmax(size.width, size.height);
    const double scale = std::min(static_cast<double>(ShortSide) / shorter,
                                  static_cast<double>(LongestSide) / longer);
    const auto fit = [scale](int side) {
        return SideStep * std::max(1, static_cast<int>(std::lround(side * scale / SideStep)));
    };
    return {fit(size.width), fit(size.height)};
}

/// Sets the chroma of `pixel` by BT.601 and keeps its luma: a chroma that would leave the gamut is
/// reduced in saturation.
void ApplyChroma(std::span<float, 4> pixel, float cb, float cr) {
    const float luma = 0.299F * pixel[0] + 0.587F * pixel[1] + 0.114F * pixel[2];
    const float red = cr / 0.713F;
    const float blue = cb / 0.564F;
    // Green makes up for both, so that luma stays to the last of 16 bits.
    const std::array<float, 3> change{red, (-0.299F * red - 0.114F * blue) / 0.587F, blue};
    float strength = 1;
    for (const float step : change) {
        if (luma + step > 1) {
            strength = std::min(strength, (1 - luma) / step);
        } else if (luma + step < 0) {
            strength = std::min(strength, -luma / step);
        }
    }
    for (std::size_t i = 0; i < change.size(); ++i) {
        pixel[i] = luma + strength * change[i];
    }
}

}  // namespace

void Colourise(const Host& host, const PhotoTask& task) {
    using namespace Colourisation;  // NOLINT(google-build-using-namespace): a table of facts
    const auto [photo, colours, network] =
        Begin(host, task, ModelType::Colourisation, PhotoUse::Colouring);
    const Size working = FindWorkingSize(GetSize(*photo));
    const auto luma = MakeTensor({1, 1, working.height, working.width});
    Learning::FillTensorCHW(*luma, *photo, {.stages = colours.toNetwork});
    const auto chroma = MakeTensor({1, 2, working.height, working.width});
    network.Run({{Input, luma}}, {{Output, chroma}});

    PaintPlanes(*chroma, *photo,
                [](std::span<float, 4> pixel, std::span<const float, 4> samples) {
                    ApplyChroma(pixel, samples[0], samples[1]);
                },
                {colours.toNetwork, colours.toPhoto});
    Finish(host, task, *photo);
}

}  // namespace LearningApp
