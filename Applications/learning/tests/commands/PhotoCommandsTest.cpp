// The commands on synthetic photos, with networks whose results are known: make_networks.py.

#include "tests/LearningProgram.h"

#include <gmock/gmock.h>

#include <cmath>

namespace LearningApp {
namespace {

using Testing::GetPixel;
using testing::HasSubstr;
using Testing::Outcome;
using Testing::Paint;
using Testing::Photo;

class PhotoCommands : public Testing::InFolder {
protected:
    /// Runs `command` with the photo and `more`, and returns the result.
    Photo RunOn(const std::string& photo, const std::string& command,
                const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments{command, photo, "-o", At("result.png")};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const Outcome outcome = Testing::Run(arguments);
        EXPECT_EQ(outcome.code, 0) << outcome.err;
        m_said = outcome.out;
        return Testing::LoadResult(At("result.png"));
    }

    std::string m_said;
};

/// Colours that differ from pixel to pixel, and an alpha that changes slowly.
std::array<int, 4> PaintNoise(int x, int y) {
    return {x * 37 % 256, y * 59 % 256, (x * 11 + y * 7) % 256, std::max(9, 255 - (x + y) / 4)};
}

// --- segment ---

struct MaskCase {
    const char* name;
    int width;
    int height;
};

class SegmentPhoto : public PhotoCommands, public testing::WithParamInterface<MaskCase> {};

TEST_P(SegmentPhoto, MasksADiscAroundTheClickWithAnEdgeOfOnePixel) {
    const auto [name, width, height] = GetParam();
    const double scale = 1024.0 / std::max(width, height);
    const int x = width * 2 / 5;
    const int y = height * 7 / 15;
    const Photo mask =
        RunOn(MakePhoto(width, height, PaintNoise), "segment",
              {"--at", std::to_string(x) + "," + std::to_string(y), "--show", "mask"});
    ASSERT_EQ(mask->GetWidth(), width);
    ASSERT_EQ(mask->GetHeight(), height);
    for (int row = 0; row < height; row += 3) {
        for (int column = 0; column < width; column += 3) {
            const double inside = 200 / scale - std::hypot(column + 0.5 - x, row + 0.5 - y);
            const double expected = 255 * std::clamp(0.5 + inside, 0.0, 1.0);
            ASSERT_NEAR(GetPixel(mask, column, row)[0], expected, 8) << column << ',' << row;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, SegmentPhoto,
                         testing::Values(MaskCase{"Square", 300, 300}, MaskCase{"Wide", 700, 233},
                                         MaskCase{"Tall", 130, 611},
                                         MaskCase{"LargerThanTheNetwork", 2048, 896}),
                         [](const auto& test) { return test.param.name; });

TEST_F(PhotoCommands, SegmentLeavesOutWhatIsMarkedSo) {
    const Photo mask =
        RunOn(MakePhoto(512, 512, PaintNoise), "segment",
              {"--at", "200,200", "--at", "300,200", "--not", "300,300", "--show", "mask"});
    EXPECT_EQ(GetPixel(mask, 200, 200)[0], 255);
    EXPECT_EQ(GetPixel(mask, 320, 190)[0], 255);
    EXPECT_EQ(GetPixel(mask, 300, 240)[0], 0);
    EXPECT_EQ(GetPixel(mask, 450, 450)[0], 0);
}

TEST_F(PhotoCommands, SegmentCutsOutOrTints) {
    const std::string photo = MakePhoto(256, 128, PaintNoise);
    const Photo cutout = RunOn(photo, "segment", {"--at", "128,64"});
    EXPECT_EQ(GetPixel(cutout, 128, 64), PaintNoise(128, 64));
    EXPECT_EQ(GetPixel(cutout, 2, 2), (std::array{0, 0, 0, 0}));

    const Photo overlay = RunOn(photo, "segment", {"--at", "128,64", "--show", "overlay"});
    EXPECT_EQ(GetPixel(overlay, 2, 2), PaintNoise(2, 2));
    EXPECT_NE(GetPixel(overlay, 128, 64), PaintNoise(128, 64));
}

TEST_F(PhotoCommands, SegmentNormalisesAndLeavesTheRestOfTheSquareZero) {
    // The stand-in's quality is the mean of red: (RED - 123.675) / 58.395 in half of the square.
    const std::pair<int, const char*> cases[] = {{200, "quality 0.65"}, {255, "quality 1.00"}};
    for (const auto& [red, quality] : cases) {
        RunOn(MakePhoto(200, 100,
                        [red = red](int, int) {
                            return std::array{red, 0, 0, 255};
                        }),
              "segment", {"--at", "1,1"});
        EXPECT_THAT(m_said, HasSubstr(quality));
    }
}

// --- depth ---

TEST_F(PhotoCommands, DepthIsBrightWhereItIsNear) {
    // The stand-in takes what is dark for near. The first rows and the last, each less than a
    // percent of all, are out of the range.
    const Photo depth =
        RunOn(MakePhoto(448, 300,
                        [](int x, int y) {
                            const int shade = y < 2 ? 255 : y < 298 ? 28 + x * 200 / 447 : 0;
                            return std::array{shade, shade, shade, 90};
                        }),
              "depth");
    for (int x = 20; x < 430; x += 5) {
        EXPECT_NEAR(GetPixel(depth, x, 150)[0], 255 - 255 * x / 447, 2) << x;
    }
    EXPECT_EQ(GetPixel(depth, 0, 150)[0], 255);
    EXPECT_EQ(GetPixel(depth, 447, 150)[0], 0);
    EXPECT_EQ(GetPixel(depth, 100, 100)[3], 255);
}

TEST_F(PhotoCommands, DepthOfNothingButOneShadeIsBlack) {
    const Photo depth = RunOn(MakePhoto(1, 3,
                                        [](int, int) {
                                            return std::array{9, 9, 9, 255};
                                        }),
                              "depth");
    EXPECT_EQ(GetPixel(depth, 0, 1), (std::array{0, 0, 0, 255}));
}

// --- colourise ---

TEST_F(PhotoCommands, ColouriseChangesTheChromaAndNothingElse) {
    const Photo coloured = RunOn(MakePhoto(301, 157, PaintNoise), "colourise");
    for (int y = 0; y < 157; ++y) {
        for (int x = 0; x < 301; ++x) {
            const std::array<int, 4> before = PaintNoise(x, y);
            const std::array<int, 4> after = GetPixel(coloured, x, y);
            const auto luma = [](const std::array<int, 4>& c) {
                return 0.299 * c[0] + 0.587 * c[1] + 0.114 * c[2];
            };
            ASSERT_NEAR(luma(after), luma(before), 0.6) << x << ',' << y;
            ASSERT_EQ(after[3], before[3]);
        }
    }
}

TEST_F(PhotoCommands, ColourisePutsTheColoursWhereTheyBelong) {
    // The stand-in's Cr is 0.2 on bright parts and -0.2 on dark ones.
    const Photo coloured = RunOn(MakePhoto(400, 200,
                                           [](int x, int) {
                                               const int shade = x < 200 ? 100 : 150;
                                               return std::array{shade, shade, shade, 255};
                                           }),
                                 "colourise");
    const std::array<int, 4> dark = GetPixel(coloured, 100, 100);
    EXPECT_NEAR(dark[0], 100 - 255 * 0.2 / 0.713, 1);
    EXPECT_NEAR(dark[1], 100 - 255 * (0.344 * 0.1 - 0.714 * 0.2), 1);
    EXPECT_NEAR(dark[2], 100 + 255 * 0.1 / 0.564, 1);
    EXPECT_NEAR(GetPixel(coloured, 300, 100)[0], 150 + 255 * 0.2 / 0.713, 1);
}

// --- super-resolve ---

class SuperResolvePhoto : public PhotoCommands,
                          public testing::WithParamInterface<std::array<int, 2>> {};

TEST_P(SuperResolvePhoto, HasNoSeams) {
    // The stand-in repeats every pixel, so a tile that is out of place by one sample shows; and it
    // blackens the border of each tile, of which only that along the photo's border may be seen.
    const auto [width, height] = GetParam();
    const Photo large = RunOn(MakePhoto(width, height, PaintNoise), "super-resolve");
    ASSERT_EQ(large->GetWidth(), 2 * width);
    ASSERT_EQ(large->GetHeight(), 2 * height);
    for (int y = 0; y < 2 * height; ++y) {
        for (int x = 0; x < 2 * width; ++x) {
            std::array<int, 4> expected = PaintNoise(x / 2, y / 2);
            const std::array<int, 4> pixel = GetPixel(large, x, y);
            ASSERT_NEAR(pixel[3], expected[3], 1) << x << ',' << y;  // the alpha has no network
            expected[3] = pixel[3];
            if (x >= 2 && y >= 2 && x < 2 * width - 2 && y < 2 * height - 2) {
                ASSERT_EQ(pixel, expected) << x << ',' << y;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, SuperResolvePhoto,
                         testing::Values(std::array{1, 1}, std::array{127, 5}, std::array{128, 128},
                                         std::array{129, 255}, std::array{431, 224},
                                         std::array{5, 500}));

TEST_F(PhotoCommands, SuperResolveRefusesWhatWouldGetTooLarge) {
    const std::string photo = MakePhoto(32768, 1, [](int, int) {
        return std::array{0, 0, 0, 255};
    });
    const Outcome outcome = Testing::Run({"super-resolve", photo, "-o", At("result.png")});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.err, HasSubstr("65536 x 2 pixels"));
}

}  // namespace
}  // namespace LearningApp
