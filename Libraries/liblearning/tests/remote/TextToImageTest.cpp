// Pictures from texts: what is sent, how long that waits, and what comes of it.

#include "Learning/RemoteControl.h"

#include "tests/remote/PictureService.h"

#include <array>

namespace Learning {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class TextToImage : public PictureTest {
protected:
    TextToImage() {
        m_replies["textToImageAsync"] = Job;
        m_files["a.jpg"] = MakeJPEG(*MakePicture(30, 20, 0xFF0000FF));
        m_files["b.png"] = MakePNG(*MakePicture(5, 7, 0x00FF0080));
        m_files["c.txt"] = "no picture";
        m_files["d.jpg"] = "404";
        m_model.modelKey = "m 1";
        m_model.modelPollStartMS = 40'000;
        m_model.modelSupportsStyles = true;
    }

    Result Infer(int count) {
        return m_client.InferTextToImage(m_model, TextToImageAspect{3}, m_guidance, m_mode,
                                         m_prompt, "no dog", m_isEnhanced, m_style, count,
                                         m_pictures, nullptr, nullptr);
    }

    TextToImageModel m_model;
    Kernel::Counted<RemoteInference::Guidance> m_guidance;
    TextToImageGuidanceMode m_mode = TextToImageGuidanceMode::None;
    Kernel::String m_prompt = "a cat";
    bool m_isEnhanced = false;
    GenerationStyle m_style = GenerationStyle::StockPhotography;
    RemoteInference::Pictures m_pictures;
};

TEST_F(TextToImage, PollsAsLongAsItMust) {
    const std::string one = R"({"images":[)" + Quote("a.jpg") + "]}";
    const std::string two = R"({"status":"DONE","images":[1,)" + Quote("a.jpg") + "," +
                            Quote("c.txt") + "," + Quote("d.jpg") + "," + Quote("b.png") + "]}";
    const std::string twentyPauses = [] {
        std::string waits = " 15000";
        for (int i = 0; i < 20; ++i) {
            waits += " 2000";
        }
        return waits;
    }();
    const struct {
        std::string submission;
        std::deque<std::string> polls;
        int count;
        RemoteResult::Code code;
        std::size_t pictures;
        std::string waits;
        std::vector<std::string> asked;  // but for "J:0" that is repeated
    } cases[] = {
        {Job, {one}, 1, Success, 1, " 15000", {"J:0", "a.jpg"}},
        {Job, {Pending, one}, 1, Success, 1, " 15000 2000", {"J:0", "J:0", "a.jpg"}},
        {Job, {two}, 2, Success, 2, " 15000", {"J:0", "a.jpg", "c.txt", "d.jpg", "b.png"}},
        {Job, {two}, 1, Success, 2, " 15000", {"J:0", "a.jpg", "c.txt", "d.jpg", "b.png"}},
        {Job, {one, one}, 2, Success, 2, " 15000", {"J:0", "a.jpg", "J:1", "a.jpg"}},
        {Job,
         {"503", "{}", R"({"status":1,"images":{}})", one},
         1,
         Success,
         1,
         " 15000",
         {"J:0", "J:0", "J:0", "J:0", "a.jpg"}},
        {Job, {R"({"error":"X"})", one}, 2, Success, 1, " 15000", {"J:0", "J:1", "a.jpg"}},
        {Job,
         {R"({"error":1,"images":[]})", R"({"images":[2]})"},
         2,
         Rejected,
         0,
         " 15000",
         {"J:0", "J:1"}},
        {Job, {one, "[]"}, 2, Unknown, 1, " 15000", {"J:0", "a.jpg", "J:1"}},
        {Job, {"broken"}, 2, Unknown, 0, " 15000", {"J:0"}},
        {Job, {R"({"images":["no address"]})"}, 1, Broken, 0, " 15000", {"J:0"}},
        {Job, {}, 0, Rejected, 0, " 15000", {}},
        {Job, {}, 1, Rejected, 0, twentyPauses, std::vector<std::string>(20, "J:0")},
        {"500", {}, 1, Unknown, 0, "", {}},
        {"[]", {}, 1, Unknown, 0, "", {}},
        {R"({"generation_id":7})", {}, 1, Unknown, 0, "", {}},
        {R"({"error":"CREDITS_INSUFFICIENT","generation_id":"J"})",
         {},
         1,
         RemoteResult::CreditsInsufficient,
         0,
         "",
         {}},
    };
    for (const auto& expected : cases) {
        m_replies["textToImageAsync"] = expected.submission;
        m_polls = expected.polls;
        m_pictures.clear();
        TakeWaits();
        const Result result = Infer(expected.count);
        const std::string text = expected.submission + testing::PrintToString(expected.polls);
        EXPECT_EQ(result.code, expected.code) << text;
        EXPECT_EQ(result.message, result.code < 2 ? "J" : "") << text;
        EXPECT_EQ(m_pictures.size(), expected.pictures) << text;
        EXPECT_EQ(TakeWaits(), expected.waits) << text;
        std::vector<std::string> asked = TakeAsked();
        EXPECT_EQ(asked.front(), "textToImageAsync");
        asked.erase(asked.begin());
        EXPECT_EQ(asked, expected.asked) << text;
    }
    m_replies["textToImageAsync"] = Job;
    m_polls = {two};
    m_pictures = {MakePicture(1, 1, 0)};  // counts
    EXPECT_EQ(Infer(2).code, Success);
    ASSERT_EQ(m_pictures.size(), 3U);
    EXPECT_EQ(m_pictures[1]->GetWidth(), 30);
    EXPECT_EQ(GetPixel(*m_pictures[2], 4, 6), 0x00FF0080U);
    EXPECT_EQ(Infer(3).code, Success);  // has enough
    const std::vector<Server::Request> requests = m_server->GetRequests();
    for (const Server::Request& request : requests) {
        const bool isFile = request.method == "GET";
        EXPECT_EQ(*Server::FindHeader(request.headers, "Content-Type"),
                  isFile ? "application/jpeg" : "application/json");
    }
    EXPECT_THAT(
        m_trace.GetMessages(),
        testing::IsSupersetOf({"RemoteInference: Calling model m 1\t\n", "Generation job ID: J\n",
                               "Generation status: PENDING\n", "Generation status: DONE\n"}));
}

TEST_F(TextToImage, SendsWhatTheModelUnderstands) {
    m_replies["textToImageAsync"] = R"({"error":""})";
    const auto send = [this] {
        EXPECT_EQ(Infer(4).code, Unknown);
        return m_bodies.back();
    };
    const Value plain =
        Kernel::Json::Parse(
            R"({"aspect":3,"client_build":32000,"custom_bearer":"","enhanceprompt":"NO",)"
            R"("mirel_access_token":"","mirel_api_url":"","mirel_user_id":"","model":"m 1",)"
            R"("negativeprompt":"no dog","num_images":4,"prompt":"a cat",)"
            R"("style":"5453a998-1cc8-4bc2-9638-dc953f2a62aa"})")
            .value();
    EXPECT_EQ(send(), plain);
    m_model.modelSupportsStyles = false;
    EXPECT_EQ(send(), plain);
    m_style = GenerationStyle{24};
    EXPECT_EQ(send(), plain);
    m_style = GenerationStyle::Render3D;
    m_isEnhanced = true;
    EXPECT_EQ(send()["prompt"], "a cat. The style of the image should be '3D render'.");
    EXPECT_EQ(m_bodies.back()["style"], "b425dac4-e142-40e5-b527-5b9e9de06518");
    EXPECT_EQ(m_bodies.back()["enhanceprompt"], "YES");
    EXPECT_EQ(m_prompt, "a cat");

    m_guidance = RemoteInference::Guidance::CreateFromBitmap(*MakePicture(40, 30, 0x2060A000));
    for (const bool takesGuidance : {false, true}) {
        for (const bool knowsTypes : {false, true}) {
            for (int mode = 0; mode < 5; ++mode) {
                m_model.modelSupportsReferenceImage = takesGuidance;
                m_model.modelSupportsReferenceImageTypes = knowsTypes;
                m_mode = TextToImageGuidanceMode{mode};
                const Value body = send();
                const bool isSent = takesGuidance && (!knowsTypes || mode != 0);
                EXPECT_EQ(body.contains("guidance_image"), isSent);
                EXPECT_EQ(body.contains("guidance_weight"), isSent);
                constexpr std::array Types{"", "FaceTransfer", "ContentTransfer", "StyleTransfer",
                                           ""};
                const char* const type =
                    isSent && knowsTypes ? Types[static_cast<std::size_t>(mode)] : "";
                EXPECT_EQ(body.value("guidance_type", Kernel::String()), type);
            }
        }
    }
    EXPECT_THAT(m_server->GetRequests().back().body, HasSubstr(R"("guidance_weight":1.0,)"));
    const Picture sent =
        Decode(DecodeBase64(m_bodies.back()["guidance_image"].get<Kernel::String>()));
    EXPECT_EQ(sent->GetBounds(), (Raster::Rect{0, 0, 40, 30}));
    EXPECT_NEAR(GetPixel(*sent, 20, 15) >> 24, 0x20, 3);  // as it is, whatever its alpha
    m_bodies.clear();
    for (const auto& [width, height] : {std::pair(0, 5), std::pair(65'501, 1)}) {
        m_guidance = Kernel::MakeCounted<RemoteInference::Guidance>(width, height);
        EXPECT_EQ(Infer(1).code, Broken);
    }
    EXPECT_THAT(m_bodies, IsEmpty());
}

TEST_F(TextToImage, TakesAnEnhancedPromptFromTheFirstIndex) {
    const std::string reply = R"({"prompt":"a fat cat","images":[)" + Quote("a.jpg") + "]}";
    for (const int flags : {0, 1, 2, 3}) {
        m_model.modelSupportsPromptEnhancement = (flags & 1) != 0;
        m_isEnhanced = (flags & 2) != 0;
        m_prompt = "a cat";
        m_pictures.clear();
        m_polls = {Pending, R"({"prompt":1})", reply, R"({"prompt":"late","images":[]})"};
        EXPECT_EQ(Infer(2).code, Success);
        EXPECT_EQ(m_prompt, flags == 3 ? "a fat cat" : "a cat");
    }
}

TEST_F(TextToImage, ResumesWhatHasBeenAccepted) {
    std::vector<std::string> heard;
    RemoteControl control([&](const RemotePhase& phase) {
        heard.push_back(std::string(phase.operation) + " " + std::string(phase.job) + " " +
                        std::to_string(static_cast<int>(phase.kind)) + " " +
                        std::to_string(phase.number) + "/" + std::to_string(phase.count));
        if (phase.kind == RemotePhase::Kind::Accepted) {
            control.Cancel();
        }
    });
    {
        const RemoteControl::Scope scope(control);
        EXPECT_EQ(Infer(1).code, Broken);
    }
    EXPECT_THAT(heard, ElementsAre("textToImageAsync  0 0/0", "textToImageAsync J 1 0/0"));
    heard.clear();
    m_polls = {Pending, R"({"images":[)" + Quote("a.jpg") + "]}"};
    TakeWaits();
    TakeAsked();
    RemoteControl listener([&](const RemotePhase& phase) {
        heard.push_back(std::to_string(static_cast<int>(phase.kind)) + " " +
                        std::to_string(phase.number) + "/" + std::to_string(phase.count));
    });
    const RemoteControl::Scope scope(listener);
    EXPECT_EQ(
        m_client.ResumeTextToImage("J", m_model, m_prompt, false, 1, m_pictures, nullptr, nullptr)
            .code,
        Success);
    EXPECT_THAT(TakeAsked(), ElementsAre("J:0", "J:0", "a.jpg"));
    EXPECT_EQ(TakeWaits(), " 2000");
    EXPECT_THAT(heard, ElementsAre("3 1/20", "3 2/20", "4 1/1"));
}

}  // namespace
}  // namespace Learning
