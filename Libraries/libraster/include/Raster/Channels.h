// The channels that pixel formats are made of, as types: a format is named by five of them.

#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace Raster {

// Placeholders, which pad a list of channels to five and have no samples.
struct X2 {};
struct X3 {};
struct X4 {};
struct X5 {};

/// The role of a channel.
enum class ChannelRole : std::uint8_t {
    Light,  // higher values are lighter
    Other,
    Alpha,
    Empty,  // a placeholder
};

/// Declared only: an unknown channel does not compile. A specialisation has the type `Sample`, the
/// name of the channel ("Red"), that of its type ("RedF"), a role and a display colour.
template <class Channel>
struct ChannelTraits;

template <class SampleType>
struct RealChannel {
    using Sample = SampleType;
    static constexpr bool IsReal = true;
};

// A row for each channel: its type, and its traits. The suffix is the type of a sample: 8 and 16
// are unsigned integers whose full range stands for 0..1, F is a float, UF a float that is
// nominally in 0..1. A macro, since no template can declare a type by name.
#define RASTER_CHANNEL(TYPE, SAMPLE, NAME, ROLE, R, G, B)                    \
    struct TYPE {};                                                          \
    template <>                                                              \
    struct ChannelTraits<TYPE> : RealChannel<SAMPLE> {                       \
        static constexpr std::string_view Name = NAME;                       \
        static constexpr std::string_view TypeName = #TYPE;                  \
        static constexpr ChannelRole Role = ChannelRole::ROLE;               \
        static constexpr std::array<std::uint8_t, 3> DisplayColour{R, G, B}; \
    }
RASTER_CHANNEL(Red8, std::uint8_t, "Red", Light, 255, 0, 0);
RASTER_CHANNEL(Green8, std::uint8_t, "Green", Light, 0, 255, 0);
RASTER_CHANNEL(Blue8, std::uint8_t, "Blue", Light, 0, 0, 255);
RASTER_CHANNEL(Red16, std::uint16_t, "Red", Light, 255, 0, 0);
RASTER_CHANNEL(Green16, std::uint16_t, "Green", Light, 0, 255, 0);
RASTER_CHANNEL(Blue16, std::uint16_t, "Blue", Light, 0, 0, 255);
RASTER_CHANNEL(RedF, float, "Red", Light, 255, 0, 0);
RASTER_CHANNEL(GreenF, float, "Green", Light, 0, 255, 0);
RASTER_CHANNEL(BlueF, float, "Blue", Light, 0, 0, 255);
RASTER_CHANNEL(RedUF, float, "Red", Light, 255, 0, 0);
RASTER_CHANNEL(GreenUF, float, "Green", Light, 0, 255, 0);
RASTER_CHANNEL(BlueUF, float, "Blue", Light, 0, 0, 255);
RASTER_CHANNEL(Alpha8, std::uint8_t, "Alpha", Alpha, 128, 128, 128);
RASTER_CHANNEL(Alpha16, std::uint16_t, "Alpha", Alpha, 128, 128, 128);
RASTER_CHANNEL(AlphaF, float, "Alpha", Alpha, 128, 128, 128);
RASTER_CHANNEL(Intensity8, std::uint8_t, "Intensity", Light, 128, 128, 128);
RASTER_CHANNEL(Intensity16, std::uint16_t, "Intensity", Light, 128, 128, 128);
RASTER_CHANNEL(IntensityF, float, "Intensity", Light, 128, 128, 128);
RASTER_CHANNEL(Cyan8, std::uint8_t, "Cyan", Other, 0, 255, 255);
RASTER_CHANNEL(Magenta8, std::uint8_t, "Magenta", Other, 255, 0, 255);
RASTER_CHANNEL(Yellow8, std::uint8_t, "Yellow", Other, 255, 255, 0);
RASTER_CHANNEL(Black8, std::uint8_t, "Black", Other, 0, 0, 0);
RASTER_CHANNEL(Lightness16, std::uint16_t, "Lightness", Light, 128, 128, 128);
RASTER_CHANNEL(AOpponent16, std::uint16_t, "AOpponent", Other, 128, 128, 128);
RASTER_CHANNEL(BOpponent16, std::uint16_t, "BOpponent", Other, 128, 128, 128);
RASTER_CHANNEL(LightnessF, float, "Lightness", Light, 128, 128, 128);
RASTER_CHANNEL(AOpponentF, float, "AOpponent", Other, 128, 128, 128);
RASTER_CHANNEL(BOpponentF, float, "BOpponent", Other, 128, 128, 128);
RASTER_CHANNEL(ChannelOneUF, float, "ChannelOne", Other, 255, 255, 255);
RASTER_CHANNEL(ChannelTwoUF, float, "ChannelTwo", Other, 255, 255, 255);
RASTER_CHANNEL(ChannelThreeUF, float, "ChannelThree", Other, 255, 255, 255);
RASTER_CHANNEL(ChannelFourUF, float, "ChannelFour", Other, 255, 255, 255);
#undef RASTER_CHANNEL

/// The traits of a placeholder.
struct EmptyChannel {
    static constexpr bool IsReal = false;
    static constexpr std::string_view Name = "Empty";
    static constexpr std::string_view TypeName = "Empty";
    static constexpr ChannelRole Role = ChannelRole::Empty;
    static constexpr std::array<std::uint8_t, 3> DisplayColour{0, 0, 0};
};
template <>
struct ChannelTraits<X2> : EmptyChannel {};
template <>
struct ChannelTraits<X3> : EmptyChannel {};
template <>
struct ChannelTraits<X4> : EmptyChannel {};
template <>
struct ChannelTraits<X5> : EmptyChannel {};

/// How many of the channels are stored.
template <class... Channels>
inline constexpr int RealChannelCount = (0 + ... + (ChannelTraits<Channels>::IsReal ? 1 : 0));

template <class... Channels>
inline constexpr bool HasAlphaChannel = (... ||
                                         (ChannelTraits<Channels>::Role == ChannelRole::Alpha));

}  // namespace Raster
