#include "drawing/CutOut.h"
#include "drawing/Edit.h"
#include "drawing/Filling.h"
#include "drawing/Look.h"
#include "drawing/Scene.h"

#include <gtest/gtest.h>

#include <functional>

namespace Service {
namespace {

constexpr int Width = 96;
constexpr int Height = 64;

/// The mean difference of the colours' bytes, 0..255; so many tell a person that pictures differ.
double Compare(const Picture& a, const Picture& b) {
    double sum = 0;
    for (int y = 0; y < a.GetHeight(); ++y) {
        for (int x = 0; x < a.GetWidth(); ++x) {
            for (int channel = 0; channel < 3; ++channel) {
                sum += std::abs(GetPixel(a.GetHostView(), x, y)[channel] -
                                GetPixel(b.GetHostView(), x, y)[channel]);
            }
        }
    }
    return sum / (3.0 * a.GetWidth() * a.GetHeight());
}

PicturePointer Draw(const std::function<Colour(float x, float y)>& colour) {
    PicturePointer picture = MakePicture(Width, Height);
    ChangeColours(*picture, [&](Colour, int x, int y) {
        GetPixel(picture->GetHostView(), x, y)[3] = 255;
        return colour(static_cast<float>(x) / Width, static_cast<float>(y) / Height);
    });
    return picture;
}

double Mean(const Picture& picture) {
    return Compare(picture, *MakePicture(picture.GetWidth(), picture.GetHeight()));
}

TEST(Scene, DependsOnAllThatIsAskedAndOnNothingElse) {
    const auto draw = [](const char* prompt, const char* negative = "", std::uint64_t variant = 0) {
        return DrawScene({prompt, negative, {}, variant}, Width, Height);
    };
    const char* const prompts[] = {
        "mountains",          "a boat on the sea", "a city",   "forest", "desert",
        "a planet",           "flowers",           "abstract", "xyzzy",  "mountains at night",
        "mountains in winter"};
    std::vector<PicturePointer> pictures;
    for (const char* const prompt : prompts) {
        pictures.push_back(draw(prompt));
        EXPECT_TRUE(pictures.back()->IsEqual(*draw(prompt))) << prompt;
        EXPECT_GT(Compare(*pictures.back(), *draw(prompt, "", 1)), 3) << prompt;
        EXPECT_EQ(pictures.back()->GetInverseAlphaBoundingBox(), Raster::EmptyRect) << prompt;
    }
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            EXPECT_GT(Compare(*pictures[i], *pictures[j]), 8) << prompts[i] << ", " << prompts[j];
        }
    }
    EXPECT_GT(Compare(*draw("mountains"), *draw("mountains", "clouds and sun")), 0.5);
    const PicturePointer green = Draw([](float, float) { return Colour{0, 1, 0}; });
    const PicturePointer guided = DrawScene({"a city", "", TakePalette(*green), 0}, Width, Height);
    const std::uint8_t* const sky = GetPixel(guided->GetHostView(), 1, 1);
    EXPECT_TRUE(sky[1] > 200 && sky[0] < 100 && sky[2] < 100) << int{sky[0]} << ' ' << int{sky[2]};
}

TEST(Look, OfEachStyleIsItsOwn) {
    const char* const ids[] = {
        "b425dac4-e142-40e5-b527-5b9e9de06518", "1c3b9e84-feee-408b-a9b4-6948aa135f0e",
        "cd12d56d-9193-4f7a-9645-abff2c87c6ca", "35baad12-eede-4655-ad20-fd97bf674beb",
        "1d8c85e6-3905-476d-a310-4caef229b059", "d5725e09-3c66-4438-98f8-0e31de922045",
        "f92453a6-bff0-4b0e-8353-354b4c5c3d5f", "5453a998-1cc8-4bc2-9638-dc953f2a62aa",
        "9df1bda4-0c1e-4d18-81db-f8633cef9147", "543c5d56-1571-4561-a9ec-ce1ba5b290c7"};
    const PicturePointer plain = DrawScene({"mountains", "", {}, 0}, Width, Height);
    std::vector<PicturePointer> pictures;
    for (const char* const id : ids) {
        ASSERT_NE(FindLook(id), nullptr) << id;
        pictures.push_back(plain->Clone());
        ApplyLook(*pictures.back(), *FindLook(id), 0);
        for (std::size_t other = 0; other + 1 < pictures.size(); ++other) {
            EXPECT_GT(Compare(*pictures.back(), *pictures[other]), 3) << id << ", " << ids[other];
        }
    }
    EXPECT_LT(Compare(*pictures[7], *plain), 0.01);
    EXPECT_EQ(FindLook(""), nullptr);
    EXPECT_EQ(FindLook("B425DAC4-e142-40e5-b527-5b9e9de06518"), nullptr);
}

TEST(Edit, ActsOnThePictureThatIsThere) {
    const PicturePointer picture = Draw([](float x, float y) { return Colour{x, y, 0.25F}; });
    GetPixel(picture->GetHostView(), 3, 4)[3] = 99;
    const auto edit = [&](const char* prompt) {
        PicturePointer edited = picture->Clone();
        EditPicture(*edited, prompt);
        EXPECT_EQ(GetPixel(edited->GetHostView(), 3, 4)[3], 99) << prompt;
        return edited;
    };
    const auto getAt = [](const PicturePointer& edited, int x, int y) {
        const std::uint8_t* const pixel = GetPixel(edited->GetHostView(), x, y);
        return std::vector<int>(pixel, pixel + 3);
    };
    EXPECT_EQ(getAt(edit("mirror it"), 0, 10), getAt(picture, Width - 1, 10));
    const std::vector<int> inverse = getAt(edit("invert the colours"), 20, 30);
    const std::vector<int> grey = getAt(edit("make it black and white"), 20, 30);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(inverse[i] + getAt(picture, 20, 30)[i], 255, 1);
        EXPECT_NEAR(grey[i], grey[0], 1);
    }
    EXPECT_LT(Mean(*edit("as dark as can be")), 0.7 * Mean(*picture));
    EXPECT_GT(Mean(*edit("brighter")), 1.1 * Mean(*picture));
    const char* const prompts[] = {"night", "sunset", "snow", "rain",  "sketch",
                                   "comic", "frame",  "red",  "xyzzy", "plugh"};
    for (const char* const prompt : prompts) {
        EXPECT_GT(Compare(*edit(prompt), *picture), 3) << prompt;
        EXPECT_TRUE(edit(prompt)->IsEqual(*edit(prompt))) << prompt;
    }
    EXPECT_GT(Compare(*edit("xyzzy"), *edit("plugh")), 3);
    PicturePointer tiny = MakePicture(1, 1);
    EditPicture(*tiny,
                "blur night sunset snow rain sketch comic frame red mirror bokeh glow cinema");
}

TEST(CutOut, FindsWhatStandsOutFromTheBorder) {
    const auto isInside = [](float x, float y) { return std::hypot(x - 0.5F, y - 0.55F) < 0.28F; };
    const PicturePointer picture = Draw([&](float x, float y) {
        return isInside(x, y) ? Colour{0.9F - 0.3F * y, 0.3F, 0.1F + 0.1F * x}
                              : Colour{0.3F + 0.2F * x, 0.6F, 0.5F + 0.4F * y};
    });
    GetPixel(picture->GetHostView(), 48, 35)[3] = 100;
    const std::vector<std::uint8_t> alpha = FindForeground(*picture);
    ASSERT_EQ(alpha.size(), std::size_t{Width} * Height);
    int wrong = 0;
    for (int i = 0; i < Width * Height; ++i) {
        const bool isWanted =
            isInside(static_cast<float>(i % Width) / Width, static_cast<float>(i / Width) / Height);
        wrong += (alpha[static_cast<std::size_t>(i)] > 127) != isWanted ? 1 : 0;
    }
    EXPECT_LT(wrong, Width * Height / 100);
    EXPECT_EQ(alpha[35 * Width + 48], 100);
    const auto isAll = [](const Picture& whole, int value) {
        return std::ranges::all_of(FindForeground(whole), [value](int a) { return a == value; });
    };
    EXPECT_TRUE(isAll(*Draw([](float, float) { return Colour{0.5F, 0.5F, 0.5F}; }), 255));
    EXPECT_TRUE(isAll(*MakePicture(Width, Height), 0));
    EXPECT_TRUE(isAll(*MakePicture(1, 1), 0));
    const PicturePointer thin = MakePicture(5000, 1);
    EXPECT_EQ(FindForeground(*thin).size(), 5000);
}

TEST(Filling, StaysInsideTheMask) {
    const PicturePointer picture = Draw([](float x, float y) { return Colour{x, y, 0.5F}; });
    const PicturePointer mask = Draw([](float x, float) {
        return x > 0.25F && x < 0.75F ? Colour{1, 1, 1} : Colour{0.03F, 0.03F, 0.03F};
    });
    const auto fill = [&](const Filling& filling) {
        PicturePointer filled = picture->Clone();
        FillObject(*filled, *mask, filling);
        return filled;
    };
    const PicturePointer first = fill({"a thing"});
    for (int y = 0; y < Height; ++y) {
        for (const int x : {0, 23, 73, Width - 1}) {
            EXPECT_EQ(GetPixel(first->GetHostView(), x, y)[0],
                      GetPixel(picture->GetHostView(), x, y)[0]);
        }
    }
    EXPECT_GT(Compare(*first, *picture), 20);
    EXPECT_TRUE(first->IsEqual(*fill({"a thing"})));
    EXPECT_GT(Compare(*first, *fill({"a thing", 1})), 5);
    EXPECT_GT(Compare(*first, *fill({"a blue vase"})), 5);
    const std::pair<const char*, std::size_t> strongest[] = {
        {"a dog", 0},  {"grass", 1},        {"a lake", 2},     {"a blue dog", 2},
        {"a fire", 0}, {"a green ball", 1}, {"a red lake", 0}, {"violet dots", 2}};
    for (const auto& [prompt, channel] : strongest) {
        for (const std::uint64_t variant : {0, 1, 2}) {
            std::array<int, 3> sums{};
            const PicturePointer filled = fill({prompt, variant});
            for (int i = 0; i < Width * Height / 2; ++i) {
                const int x = Width / 4 + i % (Width / 2);
                for (std::size_t c = 0; c < 3; ++c) {
                    sums[c] += GetPixel(filled->GetHostView(), x, i / (Width / 2))[c];
                }
            }
            EXPECT_EQ(std::ranges::max_element(sums) - sums.begin(), channel) << prompt << variant;
        }
    }
    EXPECT_NEAR(Compare(*picture, *fill({"a thing", 0, 0.5F})), Compare(*picture, *first) / 2, 3);
    EXPECT_TRUE(picture->IsEqual(*fill({"a thing", 0, 0})));
    EXPECT_GT(Compare(*first, *fill({"a thing", 0, 1, true})), 0.3);
}

}  // namespace
}  // namespace Service
