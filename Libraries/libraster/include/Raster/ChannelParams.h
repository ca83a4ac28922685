// Descriptions of the channels of a pixel format, for hosts.

#pragma once

#include "Kernel/LocalisedString.h"
#include "Raster/Channels.h"
#include "Raster/Export.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace Raster {

/// One channel of a format, stored or placeholder.
struct ChannelParams {
    /// In UTF-8, for the user.
    Kernel::String name;
    /// Whether the channel is stored.
    std::uint8_t isReal = 0;
    std::uint8_t isAlpha = 0;
    /// Whether higher values are lighter: red, green, blue, intensity and lightness.
    std::uint8_t isLight = 0;
    /// Always 0: no format has such a channel yet.
    std::uint8_t reserved = 0;
    /// The RGB colour in which a host draws the channel, 0..255.
    std::array<std::uint8_t, 3> displayColour{};
    /// The display range. Values may lie outside it.
    float minimum = 0;
    float maximum = 1;

    friend bool operator==(const ChannelParams&, const ChannelParams&) = default;
};

/// The name of a channel for the user, with its translation context. An unknown name is not
/// translated.
RASTER_API Kernel::LocalisedString LocaliseChannelName(Kernel::String name);

/// The constants of one channel.
struct ChannelFacts {
    std::string_view name;
    std::string_view typeName;
    ChannelRole role;
    std::array<std::uint8_t, 3> displayColour;
};

RASTER_API std::vector<ChannelParams> MakeChannelParams(std::span<const ChannelFacts> channels);
/// "Kind<Red8,Green8,Blue8,Alpha8,Empty>".
RASTER_API Kernel::String DescribeChannels(std::string_view kind,
                                           std::span<const ChannelFacts> channels);

/// The constants of a list of channels.
template <class... Channels>
inline constexpr std::array<ChannelFacts, sizeof...(Channels)> ChannelFactsOf{
    ChannelFacts{ChannelTraits<Channels>::Name, ChannelTraits<Channels>::TypeName,
                 ChannelTraits<Channels>::Role, ChannelTraits<Channels>::DisplayColour}...};

}  // namespace Raster
