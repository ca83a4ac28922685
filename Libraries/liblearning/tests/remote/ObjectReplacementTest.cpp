// Objects that are replaced: the region that is sent, and where the variants go.

#include "tests/remote/PictureService.h"

#include <limits>

namespace Learning {
namespace {

using testing::IsEmpty;

class ObjectReplacement : public PictureTest {
protected:
    ObjectReplacement() {
        m_replies["imageObjectReplacementAsync"] = Job;
        m_files["exact.png"] = MakePNG(*MakePicture(544, 544, 0x00FF00FF));
        m_files["odd.png"] = MakePNG(*MakePicture(132, 82, 0x00FF00FF));
        m_files["tiny.png"] = MakePNG(*MakePicture(32, 90, 0x00FF00FF));
        m_picture = MakePicture(100, 80, 0xFF0000FF);
    }

    Result Infer(double strength = 1, bool prepares = false) {
        m_polls = {R"({"images":[)" + Quote("tiny.png") + "," + Quote("odd.png") + "," +
                   Quote("exact.png") + "]}"};
        return m_client.InferImageObjectReplacement(m_helper, m_picture, m_placement, {}, "a dog",
                                                    strength, 2, prepares, m_pictures, m_where,
                                                    nullptr, nullptr);
    }
    Picture GetSent(const char* key) {
        return Decode(DecodeBase64(m_bodies.back()[key].get<Kernel::String>()));
    }

    Helper m_helper;
    Picture m_picture;
    Raster::AffineTransform::Params m_placement = {1, 0, 0, 1, 700, 300};
    RemoteInference::Pictures m_pictures;
    Raster::AffineTransform::Params m_where;
};

TEST_F(ObjectReplacement, SendsARegionAndTellsWhereItIs) {
    TakeWaits();
    const Result result = Infer(0.5, true);
    EXPECT_EQ(result.code, Success);
    EXPECT_EQ(result.message, "J");
    EXPECT_EQ(TakeWaits(), " 15000");
    EXPECT_EQ(m_helper.prepared, 0);
    ASSERT_EQ(m_pictures.size(), 2U);
    for (const Picture& picture : m_pictures) {
        EXPECT_EQ(picture->GetBounds(), (Raster::Rect{0, 0, 512, 512}));
        EXPECT_EQ(GetPixel(*picture, 256, 256), 0x00FF00FFU);
    }
    // The middle of the object is that of the region.
    EXPECT_EQ(m_where, (Raster::AffineTransform::Params{1, 0, 0, 1, 494, 84}));
    const Value& body = m_bodies.back();
    EXPECT_EQ(body.size(), 11U);
    EXPECT_EQ(body["prompt"], "a dog");
    EXPECT_EQ(body["expand"], true);
    EXPECT_EQ(body["strength"], 0.5);
    EXPECT_EQ(body["number_of_images"], 2);
    const Picture image = GetSent("image");
    const Picture mask = GetSent("mask");
    for (const Picture& sent : {image, mask}) {
        EXPECT_EQ(sent->GetBounds(), (Raster::Rect{0, 0, 544, 544}));
        EXPECT_LT(GetPixel(*sent, 5, 5), 0x01010200U);
    }
    const int left = 700 - 494 + 16;  // of the object in what is sent
    const int top = 300 - 84 + 16;
    EXPECT_NEAR(GetPixel(*image, left + 50, top + 40) >> 24, 0xFE, 2);
    EXPECT_EQ(GetPixel(*mask, left + 1, top + 1) >> 8, 0xFFFFFFU);
    EXPECT_LT(GetPixel(*mask, left - 8, top + 40), 0x0A0A0AFFU);
    EXPECT_LT(GetPixel(*mask, left + 108, top + 40), 0x0A0A0AFFU);
}

TEST_F(ObjectReplacement, PreparesTheRegionWhenAllOfItIsReplaced) {
    EXPECT_EQ(Infer(1, true).code, Success);
    EXPECT_EQ(m_helper.prepared, 1);
    EXPECT_LT(GetPixel(*GetSent("image"), 30, 30) >> 24, 9U);
    EXPECT_GT((GetPixel(*GetSent("image"), 30, 30) >> 16) & 0xFF, 240U);
    m_helper.throws = true;
    EXPECT_EQ(Infer(1, true).code, Broken);
    EXPECT_EQ(Infer(1, false).code, Success);
    m_bodies.clear();
    EXPECT_EQ(Infer(std::numeric_limits<double>::quiet_NaN()).code, Unknown);
    EXPECT_EQ(Infer(std::numeric_limits<double>::infinity()).code, Unknown);
    EXPECT_THAT(m_bodies, IsEmpty());

    m_picture = nullptr;  // and a region that holds nothing
    m_pictures.clear();
    EXPECT_EQ(Infer().code, Success);
    EXPECT_EQ(GetSent("mask")->GetBounds(), (Raster::Rect{0, 0, 544, 544}));
    EXPECT_EQ(m_bodies.back()["expand"], false);
    m_picture = MakePicture(10, 10, 0xFF0000FF);
    m_placement.xx = m_placement.xy = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(Infer().code, Success);
    EXPECT_LT(GetPixel(*GetSent("mask"), 272, 272), 0x0A0A0AFFU);

    m_pictures.clear();
    m_where = {};
    m_polls = {R"({"error":"x"})", R"({"error":"x"})"};
    EXPECT_EQ(m_client
                  .ResumeImageObjectReplacement("K", m_helper, m_picture, {}, 2, m_pictures,
                                                m_where, nullptr, nullptr)
                  .code,
              Rejected);
    EXPECT_EQ(m_where, Raster::AffineTransform::Params());
}

}  // namespace
}  // namespace Learning
