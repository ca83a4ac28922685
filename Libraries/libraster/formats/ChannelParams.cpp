#include "Raster/ChannelParams.h"

#include <string>

namespace Raster {
namespace {

using Kernel::Translatable;

constexpr Translatable ChannelNames[] = {
    Translatable("RGB Channel name", "Red"),
    Translatable("RGB Channel name", "Green"),
    Translatable("RGB Channel name", "Blue"),
    Translatable("CMYK Channel name", "Cyan"),
    Translatable("CMYK Channel name", "Magenta"),
    Translatable("CMYK Channel name", "Yellow"),
    Translatable("CMYK Channel name", "Black"),
    Translatable("HSL Channel name", "Hue"),
    Translatable("HSL Channel name", "Saturation"),
    Translatable("HSL Channel name", "Luminosity"),
    Translatable("HSV Channel name", "Value"),
    Translatable("Greyscale Channel name", "Intensity"),
    Translatable("Channel name", "Alpha"),
    Translatable("LAB Channel name", "Lightness"),
    Translatable("LAB Channel name", "AOpponent"),
    Translatable("LAB Channel name", "BOpponent"),
};

}  // namespace

Kernel::LocalisedString LocaliseChannelName(Kernel::String name) {
    for (const Translatable& known : ChannelNames) {
        if (name == known.text) {
            return known;
        }
    }
    return Kernel::LocalisedString::CreateFakeFromString(std::move(name));
}

std::vector<ChannelParams> MakeChannelParams(std::span<const ChannelFacts> channels) {
    std::vector<ChannelParams> params;
    params.reserve(channels.size());
    for (const ChannelFacts& channel : channels) {
        ChannelParams& one = params.emplace_back();
        one.name = LocaliseChannelName(Kernel::String(channel.name)).Translate();
        one.isReal = channel.role != ChannelRole::Empty;
        one.isAlpha = channel.role == ChannelRole::Alpha;
        one.isLight = channel.role == ChannelRole::Light;
        one.displayColour = channel.displayColour;
    }
    return params;
}

Kernel::String DescribeChannels(std::string_view kind, std::span<const ChannelFacts> channels) {
    std::string text(kind);
    char separator = '<';
    for (const ChannelFacts& channel : channels) {
        text += separator;
        text += channel.typeName;
        separator = ',';
    }
    return Kernel::String(text + '>');
}

}  // namespace Raster
