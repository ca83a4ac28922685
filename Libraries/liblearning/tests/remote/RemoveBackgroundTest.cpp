// Removing backgrounds: what is uploaded, and what becomes of the archive.

#include "remote/removebackground/UploadFile.h"
#include "support/ZipBuilder.h"
#include "tests/remote/PictureService.h"

#include <random>

namespace Learning {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class RemoveBackground : public PictureTest {
protected:
    RemoveBackground() {
        m_replies["removeBackgroundInit"] =
            R"({"upload_id":"U","upload_url":)" + Quote("slot") + "}";
        m_replies["removeBackgroundComplete"] = R"({"download_url":)" + Quote("cut.zip") + "}";
        Pack(MakePNG(*MakePicture(40, 40, 0x808080FF)));
        m_input = MakePicture(200, 100, 0x00000000);
        Fill(*m_input, {50, 20, 90, 60}, 0xFF0000FF);
    }

    void Pack(const std::string& alpha, int side = 40) {
        m_files["cut.zip"] = Support::MakeZip(
            {{"color.jpg", MakeJPEG(*MakePicture(side, side, 0x0000FFFF))}, {"alpha.png", alpha}});
    }
    Result Infer() { return m_client.InferImageRemoveBG(m_input, {}, m_output, nullptr, nullptr); }

    Picture m_input;
    Kernel::Counted<DynamicBitmap> m_output;
};

TEST_F(RemoveBackground, PutsTheCutOutInItsPlace) {
    EXPECT_EQ(Infer().code, Success);
    EXPECT_THAT(TakeAsked(),
                ElementsAre("removeBackgroundInit", "slot", "removeBackgroundComplete", "cut.zip"));
    EXPECT_EQ(m_bodies.back()["upload_id"], "U");
    EXPECT_TRUE(m_uploaded.starts_with("\xFF\xD8")) << "a JPEG, since all of it is opaque";
    EXPECT_EQ(m_output->GetBounds(), m_input->GetBounds());
    EXPECT_EQ(m_output->GetAlphaBoundingBox(), (Raster::Rect{50, 20, 90, 60}));
    EXPECT_EQ(GetPixel(*m_output, 70, 40), 0x0000FE80U);

    // An alpha channel counts instead of the grey, and files of another size are scaled.
    Picture alpha = MakePicture(80, 80, 0xFFFFFFFF);
    Fill(*alpha, {0, 0, 80, 40}, 0xFFFFFF00);
    Pack(MakePNG(*alpha), 80);
    Fill(*m_input, {60, 30, 61, 31}, 0xFF0000FE);
    EXPECT_EQ(Infer().code, Success);
    EXPECT_TRUE(m_uploaded.starts_with("\x89PNG"));
    EXPECT_EQ(m_output->GetAlphaBoundingBox().bottom, 60);
    EXPECT_EQ(GetPixel(*m_output, 70, 30), 0U);
    EXPECT_EQ(GetPixel(*m_output, 70, 55), 0x0000FEFFU);
}

TEST_F(RemoveBackground, EndsAtTheFirstThingThatIsWrong) {
    const std::string zip = m_files["cut.zip"];
    const std::string alpha = MakePNG(*MakePicture(40, 40, 0x808080FF));
    const std::string colour = MakeJPEG(*MakePicture(40, 40, 0x0000FFFF));
    const struct {
        const char* place;
        std::string answer;
        RemoteResult::Code code;
    } cases[] = {
        {"removeBackgroundInit", "500", Unknown},
        {"removeBackgroundInit", "[]", Unknown},
        {"removeBackgroundInit", R"({"error":"THROTTLE_INSUFFICIENT"})",
         RemoteResult::ThrottleInsufficient},
        {"removeBackgroundInit", R"({"upload_id":"U"})", Unknown},
        {"removeBackgroundInit", R"({"upload_id":1,"upload_url":"https://x/"})", Unknown},
        {"removeBackgroundInit", R"({"upload_id":"U","upload_url":"nowhere"})", Broken},
        {"removeBackgroundComplete", "404", Unknown},
        {"removeBackgroundComplete", R"({"download_url":["x"]})", Unknown},
        {"removeBackgroundComplete", R"({"error":"GENERATION_REJECTED"})", Rejected},
        {"cut.zip", "404", Unknown},
        {"cut.zip", "no archive", Unknown},
        {"cut.zip", zip.substr(0, zip.size() / 2), Unknown},
        {"cut.zip", Support::MakeZip({{"color.jpg", colour}}), Unknown},
        {"cut.zip", Support::MakeZip({{"color.jpg", colour}, {"alpha.png", "x"}}), Unknown},
        {"cut.zip", Support::MakeZip({{"color.jpg", alpha.substr(0, 60)}, {"alpha.png", alpha}}),
         Unknown},
        {"cut.zip",
         Support::MakeZip({{"color.jpg", MakeJPEG(*MakePicture(41, 40, 0))}, {"alpha.png", alpha}}),
         Unknown},
    };
    const auto replies = m_replies;
    for (const auto& [place, answer, code] : cases) {
        m_replies = replies;
        m_files["cut.zip"] = zip;
        (m_files.contains(place) ? m_files : m_replies)[place] = answer;
        EXPECT_EQ(Infer().code, code) << place << " " << answer.substr(0, 50);
        EXPECT_FALSE(m_output);
    }
    m_replies = replies;
    for (const int status : {201, 403}) {
        m_uploadStatus = status;
        EXPECT_EQ(Infer().code, Unknown);
    }
    m_bodies.clear();
    m_input = MakePicture(9, 9, 0xFFFFFF00);
    EXPECT_EQ(Infer().code, Unknown);
    m_input = nullptr;
    EXPECT_EQ(Infer().code, Unknown);
    EXPECT_THAT(m_bodies, IsEmpty());

    auto noise = MakePicture(64, 64, 0xFF);
    std::mt19937 random(1);
    for (int i = 0; i < 4096; ++i) {
        Fill(*noise, {i % 64, i / 64, i % 64 + 1, i / 64 + 1},
             static_cast<std::uint32_t>(random()) | 0xFFU);
    }
    const std::size_t best = EncodeForUpload(*noise).size();
    EXPECT_EQ(EncodeForUpload(*noise, best + 1).size(), best);
    const std::size_t worst = EncodeForUpload(*noise, 1500).size();
    EXPECT_GT(worst, 0U);
    EXPECT_LT(EncodeForUpload(*noise, best).size(), best);
    EXPECT_EQ(EncodeForUpload(*noise, 100).size(), 0U);
    Fill(*noise, {0, 0, 1, 1}, 0xFE);
    EXPECT_EQ(EncodeForUpload(*noise, 100).size(), 0U);
}

}  // namespace
}  // namespace Learning
