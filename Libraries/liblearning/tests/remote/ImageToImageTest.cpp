// Pictures that the service changes: what is sent, and where the result goes.

#include "tests/remote/PictureService.h"

#include <array>
#include <limits>

namespace Learning {
namespace {

using testing::IsEmpty;

class ImageToImage : public PictureTest {
protected:
    ImageToImage() {
        m_replies["imageEdit"] = Job;
        m_files["green.png"] = MakePNG(*MakePicture(96, 96, 0x00FF00FF));
        m_input = MakePicture(200, 100, 0x00000000);
        Fill(*m_input, {50, 20, 90, 60}, 0xFF0000FF);
        m_model.modelMinDimension = 0;
        m_model.modelKey = "m 2";
    }

    Result Infer(ImageToImageAlphaMode mode = ImageToImageAlphaMode::AsReturned) {
        m_polls = {R"({"images":[)" + Quote("green.png") + "]}"};
        m_output = nullptr;
        return m_client.InferImageToImage(m_model, m_input, "greener", mode, m_output, nullptr,
                                          nullptr);
    }

    ImageToImageModel m_model;
    Picture m_input;
    Kernel::Counted<DynamicBitmap> m_output;
};

TEST(ServicePictures, HaveNoColoursUnderAlphaThatRoundsTo0) {
    Raster::DynamicBitmap faint(3, 2, Raster::Format::RGBA16);
    alignas(64) constexpr std::array Red{1.0F, 0.0F, 0.0F, 127.0F / 65535};
    for (int i = 0; i < 6; ++i) {
        faint.GetPixelFormat().write(Red.data(), faint.GetHostView().At(i % 3, i / 3), 1);
    }
    EXPECT_TRUE(RenderForService(faint, {}, {}, 3, 2)->IsEqual(Raster::DynamicBitmap(3, 2)));
}

TEST_F(ImageToImage, SendsTheVisiblePartAndPlacesTheResult) {
    Fill(*m_input, {0, 0, 50, 100}, 0xFFFFFF00);  // erased: is not to leave
    TakeWaits();
    EXPECT_EQ(Infer().code, Success);
    EXPECT_EQ(TakeWaits(), " 10000");
    const Value& body = m_bodies.back();
    EXPECT_EQ(body["width"], 40);
    EXPECT_EQ(body["height"], 40);
    EXPECT_EQ(body["model"], "m 2");
    EXPECT_EQ(body["prompt"], "greener");
    EXPECT_EQ(body.size(), 10U);
    const Picture sent = Decode(DecodeBase64(body["image"].get<Kernel::String>()));
    EXPECT_EQ(sent->GetBounds(), (Raster::Rect{0, 0, 40, 40}));
    EXPECT_EQ(GetPixel(*sent, 0, 0) >> 24, 0xFEU);
    EXPECT_EQ(m_output->GetBounds(), m_input->GetBounds());
    EXPECT_EQ(m_output->GetAlphaBoundingBox(), (Raster::Rect{50, 20, 90, 60}));
    EXPECT_EQ(GetPixel(*m_output, 70, 40), 0x00FF00FFU);
    EXPECT_THAT(m_trace.GetMessages(),
                testing::IsSupersetOf(
                    {"RemoteInference: Input 40 x 40\r\n", "RemoteInference: Output 96 x 96\r\n"}));

    Fill(*m_input, {60, 30, 70, 40}, 0x00FF0080);
    EXPECT_EQ(Infer(ImageToImageAlphaMode::AsInput).code, Success);
    EXPECT_EQ(GetPixel(*m_output, 65, 35), 0x00FF0080U);
    EXPECT_EQ(GetPixel(*m_output, 75, 45), 0x00FF00FFU);

    for (Picture input : {Picture(), Picture(Kernel::MakeCounted<DynamicBitmap>()),
                          MakePicture(9, 9, 0xFFFFFF00)}) {
        m_bodies.clear();
        m_input = std::move(input);
        EXPECT_EQ(Infer().code, Insufficient);
        EXPECT_THAT(m_bodies, IsEmpty());
    }
}

TEST_F(ImageToImage, EndsAsTheServiceSays) {
    const struct {
        std::deque<std::string> polls;
        RemoteResult::Code code;
    } cases[] = {
        {{R"({"error":"GENERATION_REJECTED_MINORS"})"}, RemoteResult::GenerationRejectedMinors},
        {{"500", "1"}, Unknown},
        {{R"({"images":[7,"x:"]})"}, Broken},
        {{R"({"images":[]})"}, Rejected},
    };
    for (const auto& [polls, code] : cases) {
        m_replies["imageEdit"] = Job;
        m_polls = polls;
        m_output = nullptr;
        EXPECT_EQ(
            m_client.InferImageToImage(m_model, m_input, "", {}, m_output, nullptr, nullptr).code,
            code);
        EXPECT_FALSE(m_output);
    }
    m_polls.clear();
    TakeAsked();
    TakeWaits();
    EXPECT_EQ(
        m_client.ResumeImageToImage("K", m_model, m_input, {}, m_output, nullptr, nullptr).code,
        Rejected);
    EXPECT_EQ(TakeAsked(), std::vector<std::string>(30, "K:0"));
    EXPECT_EQ(TakeWaits().size(), 30 * 5U);
}

TEST_F(ImageToImage, ChoosesAndRemovesBackgrounds) {
    const auto countInits = [this] {
        const std::vector<std::string> asked = TakeAsked();
        return std::ranges::count(asked, "removeBackgroundInit");
    };
    // 1,600 pixels, of which `clear` are erased within the box.
    const struct {
        int clear;
        int removals;
    } cases[] = {{0, 0}, {266, 0}, {267, 1}};
    for (const auto& [clear, removals] : cases) {
        Fill(*m_input, {50, 20, 90, 60}, 0xFF0000FF);
        for (int i = 0; i < clear; ++i) {
            Fill(*m_input, {51 + i % 38, 21 + i / 38, 52 + i % 38, 22 + i / 38}, 0xFFU << 16);
        }
        EXPECT_EQ(Infer(ImageToImageAlphaMode::Automatic).code, Success);
        EXPECT_EQ(countInits(), removals);
        EXPECT_EQ(GetPixel(*m_output, 70, 40), 0x00FF00FFU);  // the removal has failed
    }
    // Sizes that no JPEG has, and products that no catalogue should ask for.
    for (const int side : {65'501, std::numeric_limits<int>::max(), -1}) {
        m_model.modelAllowedWidths = {side};
        m_model.modelMaxDimension = side < 0 ? -5 : 1024;
        EXPECT_EQ(Infer().code, Insufficient);
    }
}

}  // namespace
}  // namespace Learning
