#include "Kernel/Testing.h"

#include "drawing/CutOut.h"
#include "segmentation/Segmenter.h"
#include "support/TestFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

namespace Service {
namespace {

constexpr int PictureWidth = 600;
constexpr int PictureHeight = 300;

/// A red disc beside the middle of a blue picture.
PicturePointer MakeRedDisc(int x0) {
    PicturePointer picture = MakePicture(PictureWidth, PictureHeight);
    for (int y = 0; y < PictureHeight; ++y) {
        for (int x = 0; x < PictureWidth; ++x) {
            std::uint8_t* const pixel = GetPixel(picture->GetHostView(), x, y);
            SetColour(pixel, std::hypot(x - x0, y - 150) < 60 ? Colour{1, 0.2F, 0.1F}
                                                              : Colour{0.1F, 0.4F, 0.9F});
            pixel[3] = 255;
        }
    }
    return picture;
}

// The stand-ins of the networks: all within 200 of the encoder's 1024 pixels is inside, and the
// quality is the same everywhere.
TEST(Segmenter, AsksTheNetworksForWhatIsInTheMiddle) {
    Segmenter segmenter(TEST_MODELS);
    const PicturePointer picture = MakeRedDisc(130);
    GetPixel(picture->GetHostView(), 300, 180)[3] = 100;
    const auto alpha = segmenter.Find(*picture);
    ASSERT_TRUE(alpha);
    ASSERT_EQ(alpha->size(), std::size_t{PictureWidth} * PictureHeight);
    const double radius = 200.0 * PictureWidth / 1024;
    int wrong = 0;
    for (int i = 0; i < PictureWidth * PictureHeight; ++i) {
        const double distance = std::hypot(i % PictureWidth - 300, i / PictureWidth - 180);
        const int expected = distance < radius ? 255 : 0;
        const bool isEdge = std::abs(distance - radius) < 2;
        wrong += isEdge || (*alpha)[static_cast<std::size_t>(i)] == expected ? 0 : 1;
    }
    EXPECT_EQ(wrong, 1) << "the pixel with an alpha of its own";
    EXPECT_EQ((*alpha)[180 * PictureWidth + 300], 100);
}

TEST(Segmenter, FindsNothingWithoutNetworksThatCanBeUsed) {
    const PicturePointer picture = MakeRedDisc(300);
    const Support::TestFolder folder;
    Segmenter late(folder.At(""));
    for (const std::string& name : {std::string(), folder.At("")}) {
        EXPECT_FALSE(Segmenter(name).Find(*picture));
    }
    EXPECT_FALSE(late.Find(*picture));
    const Kernel::Testing::Recorded<Kernel::Log> log;
    for (const char* const name :
         {"SegmentationEncoder_2.6.onnx", "SegmentationDecoder_2.6.onnx"}) {
        folder.Write(name, "no network");
    }
    EXPECT_FALSE(late.Find(*picture));
    EXPECT_FALSE(log.GetMessages().empty());
    for (const char* const name :
         {"SegmentationEncoder_2.6.onnx", "SegmentationDecoder_2.6.onnx"}) {
        std::filesystem::copy_file(std::string(TEST_MODELS) + name, folder.At(name),
                                   std::filesystem::copy_options::overwrite_existing);
    }
    EXPECT_TRUE(late.Find(*picture)) << "they may be installed at any time";
    EXPECT_FALSE(late.Find(*MakePicture(1, 1))) << "all of it is inside";
}

}  // namespace
}  // namespace Service
