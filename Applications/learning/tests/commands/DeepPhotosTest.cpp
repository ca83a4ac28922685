// Photos of 16 bits a sample and with profiles of their own, through every command.

#include "Raster/DynamicFile.h"
#include "Raster/ICCManager.h"

#include "files/Npy.h"
#include "files/Source.h"
#include "tests/LearningProgram.h"

#include <cstring>
#include <random>

namespace LearningApp {
namespace {

using Raster::Format;
using Testing::Photo;
using Profile = Kernel::Consolidated<Raster::ICCProfile>;
using Colour = std::array<float, 4>;

/// sRGB with the lights of red and green exchanged.
Profile MakeSwapped() {
    const Profile sRGB = Raster::ICCManager::GetProfileForString("sRGB IEC61966-2.1");
    std::vector<std::byte> bytes(sRGB->GetBytes().begin(), sRGB->GetBytes().end());
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    std::swap(bytes[text.find("rXYZ")], bytes[text.find("gXYZ")]);
    return Raster::ICCProfile::CreateFromBytes(bytes);
}

/// Grey whose numbers are light (ICC.1:2022): a curve without entries, after a table of one tag.
/// Its ID is any, since libpng reads no profile that compresses too well.
Profile MakeLinearGrey() {
    std::string bytes(156, '\0');
    for (const auto& [at, text] : {std::pair{3, "\x9c"},
                                   {8, "\2\x40"},
                                   {12, "mntrGRAYXYZ "},
                                   {36, "acsp"},
                                   {48, "a maker, a model"},
                                   {84, "0123456789abcdef"},
                                   {131, "\1kTRC"},
                                   {139, "\x90"},
                                   {143, "\xc"},
                                   {144, "curv"}}) {
        bytes.replace(static_cast<std::size_t>(at), std::strlen(text), text);
    }
    return Raster::ICCProfile::CreateFromBytes(std::as_bytes(std::span(bytes)));
}

Colour Get(const Photo& photo, int x, int y) {
    alignas(64) Colour colour{};
    const Raster::ConstPixelView view = std::as_const(*photo).GetHostView();
    view.format->read(view.At(x, y), colour.data(), 1);
    return colour;
}

struct DeepCase {
    Format format;
    Profile profile;
    int alphaStep;  // 0: opaque
};

class DeepPhotos : public Testing::InFolder {
protected:
    static constexpr int Width = 150;
    static constexpr int Height = 90;

    /// A ramp with noise, in many more than 256 shades; not transparent anywhere.
    Photo MakePhoto(const DeepCase& deep) const {
        auto photo = MakePicture(Width, Height, deep.format);
        photo->SetProfile(deep.profile);
        std::minstd_rand random;
        for (int i = 0; i < Width * Height; ++i) {
            alignas(64) Colour colour{};
            for (float& value : colour) {
                value = static_cast<float>(i + static_cast<int>(random() >> 16) % 9000) / 24000;
            }
            colour[3] = deep.alphaStep == 0 ? 1 : 1 - static_cast<float>(i % deep.alphaStep) / 999;
            const Raster::PixelView view = photo->GetHostView();
            view.format->write(colour.data(), view.At(i % Width, i / Width), 1);
        }
        SavePicture(*photo, At("photo.png"));
        return photo;
    }

    Photo RunWith(std::vector<std::string> arguments) const {
        const Testing::Outcome outcome = Testing::Run(std::move(arguments));
        EXPECT_EQ(outcome.code, 0) << outcome.err;
        return Raster::ReadPicture(*Source::Open(At("result.png")));
    }
    Photo RunCommand(const std::string& command, const std::string& show = "") const {
        std::vector<std::string> arguments{command, At("photo.png"), "-o", At("result.png")};
        if (!show.empty()) {
            arguments.insert(arguments.end(), {"--at", "75,45", "--show", show});
        }
        return RunWith(std::move(arguments));
    }

    static std::vector<DeepCase> GetCases() {
        return {{Format::RGBA16, MakeSwapped(), 0}, {Format::RGBA16, MakeSwapped(), 500},
                {Format::RGBA16, {}, 100},          {Format::RGBA8, MakeSwapped(), 300},
                {Format::GreyA16, {}, 700},         {Format::GreyA8, {}, 0}};
    }
};

TEST_F(DeepPhotos, ComeBackAsTheyAreFromAnIdentityNetwork) {
    for (const DeepCase& deep : GetCases()) {
        const Photo photo = MakePhoto(deep);
        const Photo result =
            RunWith({"run", TEST_MODELS "Identity.onnx", "--input", "input=" + At("photo.png"),
                     "--output", "output=" + At("result.png")});
        EXPECT_TRUE(result->IsEqual(*photo));
        EXPECT_EQ(result->GetProfile(), deep.profile);
    }
}

TEST_F(DeepPhotos, AreSeenInSRGBByNetworksAndComeBackIfTheyAreGrey) {
    for (const Format format : {Format::GreyA8, Format::GreyA16}) {
        auto photo = MakePicture(8, 8, format);
        photo->SetProfile(MakeLinearGrey());
        ASSERT_TRUE(photo->GetProfile());
        alignas(64) constexpr Colour Half{128 / 255.0F, 128 / 255.0F, 128 / 255.0F, 1};
        for (int i = 0; i < 64; ++i) {
            photo->GetPixelFormat().write(Half.data(), photo->GetHostView().At(i % 8, i / 8), 1);
        }
        SavePicture(*photo, At("photo.png"));
        EXPECT_EQ(Testing::Run({"run", TEST_MODELS "Identity.onnx", "--input",
                                "input=" + At("photo.png"), "--output", "output=" + At("seen.npy")})
                      .code,
                  0);
        const auto seen = LoadNpy(*Source::Open(At("seen.npy")));
        EXPECT_NEAR(seen->GetValueAtIndexedSubscript(9) * 255, 188, 0.5);  // as by lcms2
        const Photo same =
            RunWith({"run", TEST_MODELS "Identity.onnx", "--input", "input=" + At("photo.png"),
                     "--output", "output=" + At("result.png")});
        EXPECT_TRUE(same->IsEqual(*photo) && same->GetProfile() == photo->GetProfile());
        const Photo large = RunCommand("super-resolve");
        EXPECT_EQ(large->GetProfile(), photo->GetProfile());
        EXPECT_NEAR(Get(large, 7, 7)[0], Get(photo, 3, 3)[0], 3.0F / 65535);
    }
}

TEST_F(DeepPhotos, KeepBitsAndProfileThroughEveryCommand) {
    for (const DeepCase& deep : GetCases()) {
        const Photo photo = MakePhoto(deep);
        const bool isDeep = photo->GetPixelFormat().sampleSize == 2;
        const float step = isDeep ? 1.0F / 65535 : 1.0F / 255;
        // There and back through tables of half a 16-bit step each.
        const float rounding = isDeep ? 3 * step : 1.1F * step;
        // What the network sees as red is green in the file with the other profile.
        const std::size_t red = deep.profile ? 1 : 0;
        const auto expectSameKind = [&](const Photo& result) {
            EXPECT_EQ(result->GetPixelFormat().sampleSize, photo->GetPixelFormat().sampleSize);
            EXPECT_EQ(result->GetProfile(), deep.profile);
        };

        const Photo cutout = RunCommand("segment", "cutout");
        expectSameKind(cutout);
        EXPECT_EQ(Get(cutout, 75, 45), Get(photo, 75, 45));
        EXPECT_EQ(Get(cutout, 1, 1), Colour{});

        expectSameKind(RunCommand("segment", "mask"));
        const Photo overlay = RunCommand("segment", "overlay");
        expectSameKind(overlay);
        EXPECT_EQ(Get(overlay, 1, 1), Get(photo, 1, 1));
        constexpr std::array Tint{0.1F, 0.55F};
        for (const std::size_t i : {0, 1}) {
            EXPECT_NEAR(Get(overlay, 75, 45)[i], (Get(photo, 75, 45)[i] + Tint[i ^ red]) / 2, step);
        }

        const Photo depth = RunCommand("depth");
        expectSameKind(depth);
        std::set<float> shades;
        for (int i = 0; i < Width * Height; ++i) {
            shades.insert(Get(depth, i % Width, i / Width)[0]);
        }
        EXPECT_EQ(shades.size() > 256, isDeep);

        const Photo coloured = RunCommand("colourise");
        expectSameKind(coloured);
        const Photo large = RunCommand("super-resolve");
        expectSameKind(large);
        EXPECT_EQ(large->GetFormat(), deep.format);
        for (int i = 0; i < Width * Height; ++i) {
            const int x = i % Width;
            const int y = i / Width;
            const auto luma = [red](const Colour& c) {
                return 0.299F * c[red] + 0.587F * c[1 - red] + 0.114F * c[2];
            };
            const Colour before = Get(photo, x, y);
            ASSERT_NEAR(luma(Get(coloured, x, y)), luma(before), rounding) << i;
            ASSERT_EQ(Get(coloured, x, y)[3], before[3]);
            // The stand-in repeats pixels, and blackens the border.
            if (x > 0 && y > 0 && x + 1 < Width && y + 1 < Height) {
                ASSERT_NEAR(Get(large, 2 * x, 2 * y)[0], before[0], rounding) << i;
            }
        }
    }
}

}  // namespace
}  // namespace LearningApp
