// One pixel of a format in memory.

#pragma once

#include "Raster/Channels.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <type_traits>

namespace Raster {

/// The samples of the channels that are stored, in order and without padding. All channels of a
/// format have one type of sample.
template <class C1, class C2, class C3, class C4, class C5>
struct Pixel {
    using Sample = typename ChannelTraits<C1>::Sample;
    static constexpr std::size_t ChannelCount = RealChannelCount<C1, C2, C3, C4, C5>;

    std::array<Sample, ChannelCount> samples{};

    /// The sample of one channel: pixel.Get<Red8>().
    template <class Channel>
    constexpr Sample& Get() noexcept {
        return samples[IndexOf<Channel>()];
    }
    template <class Channel>
    constexpr const Sample& Get() const noexcept {
        return samples[IndexOf<Channel>()];
    }

    friend constexpr bool operator==(const Pixel&, const Pixel&) noexcept = default;

private:
    template <class Channel>
    static constexpr std::size_t IndexOf() {
        constexpr std::array<bool, 5> Is{std::is_same_v<Channel, C1>, std::is_same_v<Channel, C2>,
                                         std::is_same_v<Channel, C3>, std::is_same_v<Channel, C4>,
                                         std::is_same_v<Channel, C5>};
        constexpr auto Index = static_cast<std::size_t>(std::ranges::find(Is, true) - Is.begin());
        static_assert(Index < ChannelCount, "The format does not store this channel.");
        return Index;
    }
};

}  // namespace Raster
