// Float samples in memory against the definition of their mapping, on every instruction set.

#include "Raster/Planes.h"

#include "tests/formats/ForInstructionSets.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <random>
#include <stdexcept>
#include <vector>

namespace Raster {
namespace {

using Testing::ForTargets;
using Role = PlaneChannel::Role;
using Colour = std::array<float, 4>;

constexpr Rect Part{2, 1, 40, 4};  // of a picture of 43 x 6: neither width is a number of lanes
constexpr int Width = 43;
constexpr int Height = 6;
constexpr float Untouched = -77;

float Get(const Colour& c, Role role) {
    return role == Role::Luma ? (0.299f * c[0] + 0.587f * c[1]) + 0.114f * c[2]
                              : c[static_cast<std::size_t>(role)];
}

/// A layout of samples, and room for them.
struct Layout {
    std::vector<PlaneChannel> channels;
    bool isInterleaved = false;
    std::vector<float> samples = std::vector<float>(std::size_t{4} * Width * Height, Untouched);

    PlaneView GetView() {
        PlaneView view{samples.data()};
        const auto count = static_cast<std::ptrdiff_t>(channels.size());
        view.stride = isInterleaved ? Width * count : Width;
        view.planeStride = isInterleaved ? 0 : Width * Height;
        view.width = Width;
        view.height = Height;
        std::copy(channels.begin(), channels.end(), view.channels.begin());
        view.channelCount = channels.size();
        return view;
    }
    float& At(std::size_t channel, int x, int y) {
        const std::ptrdiff_t offset = static_cast<std::ptrdiff_t>(channel) * Width * Height;
        return *(isInterleaved ? GetView().At(x, y) + channel : GetView().At(x, y) + offset);
    }
};

std::vector<Layout> MakeLayouts() {
    const ChannelMapping byDeviation{1, 0, 0.25f};
    const ChannelMapping byMean{1, 0.5f, 1};
    const ChannelMapping all{255, 103.5f, 57.375f};
    const std::vector<PlaneChannel> channels[] = {
        {{Role::Luma, all}},
        {{Role::Alpha, byMean}},
        {{Role::Luma}, {Role::Alpha, byDeviation}},
        {{Role::Red}, {Role::Green}, {Role::Blue}},
        {{Role::Blue, byDeviation}, {Role::Green}, {Role::Red}},
        {{Role::Blue}, {Role::Green, all}, {Role::Red, byMean}},
        {{Role::Green}, {Role::Alpha, all}, {Role::Red, byMean}},
        {{Role::Alpha}, {Role::Red, all}, {Role::Green}, {Role::Blue, byDeviation}}};
    std::vector<Layout> layouts;
    for (const auto& list : channels) {
        layouts.push_back({list, false});
        layouts.push_back({list, true});
    }
    return layouts;
}

/// Noise of any bytes, with rows 16 bytes longer than their pixels.
template <Format Code>
struct Picture {
    std::vector<std::byte> bytes =
        std::vector<std::byte>((Width * GetPixelFormat(Code).GetPixelSize() + 16) * Height);
    PixelView view{bytes.data(), std::ssize(bytes) / Height, Width, Height, &GetPixelFormat(Code)};

    Picture() {
        std::mt19937 random(7);
        for (std::byte& byte : bytes) {
            byte = static_cast<std::byte>(random());
        }
    }
    Colour Read(int x, int y) const {
        alignas(64) float rgba[4];
        view.format->read(view.At(x, y), rgba, 1);
        return std::to_array(rgba);
    }
};

bool IsInside(int x, int y) {
    return x >= Part.left && x < Part.right && y >= Part.top && y < Part.bottom;
}

template <Format Code>
void ExpectFilledByDefinition(Layout layout, bool isHuge) {
    const Picture<Code> picture;
    PlaneView view = layout.GetView();
    // So that stores bypass the cache, as they do for pictures that do not fit into it.
    view.height = isHuge ? 1 << 20 : Height;
    PlaneTarget(view).ConvertFrom(picture.view, Part);
    for (int i = 0; i < Width * Height; ++i) {
        const int x = i % Width;
        const int y = i / Width;
        for (std::size_t c = 0; c < layout.channels.size(); ++c) {
            const auto& [role, mapping] = layout.channels[c];
            const float v = Get(picture.Read(x, y), role);
            const float mapped = (v * mapping.range - mapping.mean) / mapping.deviation;
            ASSERT_EQ(layout.At(c, x, y), IsInside(x, y) ? mapped : Untouched)
                << "channel " << c << " at " << x << ',' << y;
        }
    }
}

template <Format Code>
void ExpectReadByDefinition(Layout layout, bool isHuge) {
    std::mt19937 random(3);
    std::uniform_real_distribution<float> numbers(-2, 4);
    std::generate(layout.samples.begin(), layout.samples.end(), [&] { return numbers(random); });
    const Picture<Code> before;
    Picture<Code> after;
    PixelView view = after.view;
    view.height = isHuge ? 1 << 20 : Height;
    PlaneSource(layout.GetView()).ConvertInto(view, Part);
    for (int i = 0; i < Width * Height; ++i) {
        const int x = i % Width;
        const int y = i / Width;
        alignas(64) std::array<float, 4> rgba{0, 0, 0, 1};
        for (std::size_t c = 0; c < layout.channels.size(); ++c) {
            const auto& [role, mapping] = layout.channels[c];
            const float v = (layout.At(c, x, y) * mapping.deviation + mapping.mean) / mapping.range;
            if (role == Role::Luma) {
                rgba[0] = rgba[1] = rgba[2] = v;
            } else {
                rgba[static_cast<std::size_t>(role)] = v;
            }
        }
        std::array<std::byte, MaximumPixelSize> pixel{};
        view.format->write(rgba.data(), pixel.data(), 1);
        const std::byte* const expected = IsInside(x, y) ? pixel.data() : before.view.At(x, y);
        ASSERT_TRUE(std::equal(expected, expected + view.format->GetPixelSize(), view.At(x, y)))
            << x << ',' << y;
    }
}

TEST(Planes, FollowTheDefinitionDirectlyAndBySpans) {
    for (const Layout& layout : MakeLayouts()) {
        SCOPED_TRACE(testing::PrintToString(layout.channels.size()) +
                     (layout.isInterleaved ? " interleaved" : " planes"));
        ForTargets([&layout] {
            for (const bool isHuge : {false, true}) {
                ExpectFilledByDefinition<Format::RGBA8>(layout, isHuge);
                ExpectReadByDefinition<Format::RGBA8>(layout, isHuge);
            }
            ExpectFilledByDefinition<Format::RGBA16>(layout, false);
            ExpectReadByDefinition<Format::GreyA16>(layout, false);
        });
    }
}

TEST(Planes, AreConvertedDirectlyWhereTheyHoldTheThreeColours) {
    for (Layout& layout : MakeLayouts()) {
        const bool isDirect = !layout.isInterleaved && layout.channels.size() == 3 &&
                              layout.channels[1].role != Role::Alpha;
        PlaneTarget target(layout.GetView());
        EXPECT_EQ(target.HasDirectWayFrom(GetPixelFormat(Format::RGBA8)), isDirect);
        EXPECT_FALSE(target.HasDirectWayFrom(GetPixelFormat(Format::RGBA16)));
        const PlaneSource source(layout.GetView());
        EXPECT_EQ(source.HasDirectWayInto(GetPixelFormat(Format::RGBA8)), isDirect);
    }
}

TEST(Planes, RefuseChannelsWithoutMeaning) {
    const ChannelMapping good;
    const std::vector<PlaneChannel> cases[] = {
        {},
        {{Role::Red}, {Role::Red}},
        {{Role::Luma}, {Role::Green}},
        {{Role::Red, {0, 0, 1}}},
        {{Role::Red, {INFINITY, 0, 1}}},
        {{Role::Red, {1, NAN, 1}}},
        {{Role::Red, {1, 0, 0}}},
        {{Role::Red, good}, {Role::Green, {1, 0, -INFINITY}}}};
    for (const auto& channels : cases) {
        Layout layout{channels};
        EXPECT_THROW(PlaneTarget(layout.GetView()), std::invalid_argument);
        EXPECT_THROW(PlaneSource(layout.GetView()), std::invalid_argument);
    }
    Layout layout{{{Role::Red}}};
    PlaneView view = layout.GetView();
    view.channelCount = 5;
    EXPECT_THROW(PlaneTarget{view}, std::invalid_argument);
}

}  // namespace
}  // namespace Raster
