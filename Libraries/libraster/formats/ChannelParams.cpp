#include "Raster/ChannelParams.h"

#include <string>

namespace Raster {
namespace {

struct NameContext {
    std::string_view name;
    const char* context;
};
constexpr NameContext NameContexts[] = {
    {"Red", "RGB Channel name"},        {"Green", "RGB Channel name"},
    {"Blue", "RGB Channel name"},       {"Cyan", "CMYK Channel name"},
    {"Magenta", "CMYK Channel name"},   {"Yellow", "CMYK Channel name"},
    {"Black", "CMYK Channel name"},     {"Hue", "HSL Channel name"},
    {"Saturation", "HSL Channel name"}, {"Luminosity", "HSL Channel name"},
    {"Value", "HSV Channel name"},      {"Intensity", "Greyscale Channel name"},
    {"Alpha", "Channel name"},          {"Lightness", "LAB Channel name"},
    {"AOpponent", "LAB Channel name"},  {"BOpponent", "LAB Channel name"},
};

}  // namespace

Kernel::LocalisedString LocaliseChannelName(Kernel::String name) {
    for (const NameContext& known : NameContexts) {
        if (name == known.name) {
            return {known.context, std::move(name)};
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
