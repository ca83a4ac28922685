#include "PixelRows.h"

#include <algorithm>

// Scalar reference definitions of the conversions, which all contenders must match.

namespace PixelPeers {

namespace {

float Clamp(float value) {
    return std::min(1.0F, std::max(0.0F, value));
}

std::uint8_t ToByte(float value) {
    return static_cast<std::uint8_t>(std::round(Clamp(value) * 255.0F));
}

void DefineCopy(const float* from, float* to, std::size_t count) {
    std::copy_n(from, count * 4, to);
}

void DefineFloats(const std::uint8_t* from, float* to, std::size_t count) {
    std::transform(from, from + count * 4, to, [](std::uint8_t byte) { return byte / 255.0F; });
}

void DefineBytes(const float* from, std::uint8_t* to, std::size_t count) {
    std::transform(from, from + count * 4, to, ToByte);
}

void DefineNarrow(const std::uint16_t* from, std::uint8_t* to, std::size_t count) {
    std::transform(from, from + count * 4, to,
                   [](std::uint16_t word) { return ToByte(word / 65535.0F); });
}

void DefineWide(const std::uint8_t* from, std::uint16_t* to, std::size_t count) {
    std::transform(from, from + count * 4, to, [](std::uint8_t byte) {
        return static_cast<std::uint16_t>(std::round(byte / 255.0F * 65535.0F));
    });
}

void DefinePlanes(const std::uint8_t* from, float* to, std::size_t count) {
    for (std::size_t i = 0; i < count * 3; ++i) {
        to[i] = from[i % count * 4 + i / count] / 255.0F;
    }
}

void DefinePlaneBytes(const float* from, std::uint8_t* to, std::size_t count) {
    for (std::size_t i = 0; i < count * 4; ++i) {
        to[i] = i % 4 == 3 ? 255 : ToByte(from[i % 4 * count + i / 4]);
    }
}

void DefineGrey(const std::uint8_t* from, std::uint8_t* to, std::size_t count) {
    for (; count > 0; --count, from += 4, to += 2) {
        // BT.601.
        const float grey =
            0.299F * (from[0] / 255.0F) + 0.587F * (from[1] / 255.0F) + 0.114F * (from[2] / 255.0F);
        to[0] = static_cast<std::uint8_t>(std::round(255.0F * grey));
        to[1] = from[3];
    }
}

void DefineLights(const std::uint8_t* from, std::uint8_t* to, std::size_t count) {
    for (; count > 0; --count, from += 5, to += 4) {
        constexpr float Scale = 1.0F / 255.0F;
        const float black = from[3] * Scale;
        for (int i = 0; i < 3; ++i) {
            to[i] = ToByte(1.0F - std::min(1.0F, from[i] * Scale * (1.0F - black) + black));
        }
        to[3] = from[4];
    }
}

void DefineInks(const std::uint8_t* from, std::uint8_t* to, std::size_t count) {
    for (; count > 0; --count, from += 4, to += 5) {
        const float dark[] = {1.0F - from[0] / 255.0F, 1.0F - from[1] / 255.0F,
                              1.0F - from[2] / 255.0F};
        const float black = std::min({dark[0], dark[1], dark[2]});
        for (int i = 0; i < 3; ++i) {
            to[i] = ToByte(black < 1.0F ? (dark[i] - black) / (1.0F - black) : 0.0F);
        }
        to[3] = ToByte(black);
        to[4] = from[3];
    }
}

template <class From, class To>
Row MakeRow(const char* name, std::size_t sourceChannels, std::size_t destinationChannels,
            void (*define)(const From*, To*, std::size_t)) {
    const auto makeSource = [=](Size size) {
        return MakeNoise<From>(size.GetPixelCount() * sourceChannels);
    };
    const auto getDifference = [=](const Task& task) {
        const Bytes expected(task.destination.GetSize());
        define(task.source.As<From>(), expected.As<To>(), task.size.GetPixelCount());
        return GetMaximumDifference(task.destination.As<To>(), expected.As<To>(),
                                    task.size.GetPixelCount() * destinationChannels);
    };
    return {name, {Large, Small}, makeSource, destinationChannels * sizeof(To), getDifference};
}

}  // namespace

std::vector<Row> MakeConversionRows() {
    std::vector<Row> rows{MakeRow("RGBA8ToRGBAF", 4, 4, DefineFloats),
                          MakeRow("Copy", 4, 4, DefineCopy),
                          MakeRow("RGBAFToRGBA8", 4, 4, DefineBytes),
                          MakeRow("RGBA8ToGreyA8", 4, 2, DefineGrey),
                          MakeRow("RGBA16ToRGBA8", 4, 4, DefineNarrow),
                          MakeRow("RGBA8ToRGBA16", 4, 4, DefineWide),
                          MakeRow("CMYKA8ToRGBA8", 5, 4, DefineLights),
                          MakeRow("RGBA8ToCMYKA8", 4, 5, DefineInks),
                          MakeRow("RGBA8ToPlanar", 4, 3, DefinePlanes),
                          MakeRow("PlanarToRGBA8", 3, 4, DefinePlaneBytes)};
    rows[0].sizes.push_back(Tiny);
    rows[1].sizes = {Large};
    return rows;
}

}  // namespace PixelPeers
