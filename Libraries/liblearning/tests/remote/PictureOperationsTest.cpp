// Operations on pictures: what is sent, how long they wait, and what comes of it.

#include "Learning/RemoteControl.h"

#include "remote/jobs/ServiceJob.h"
#include "remote/pictures/PictureText.h"
#include "remote/pictures/ServicePictures.h"
#include "tests/remote/PictureService.h"

#include <array>
#include <atomic>
#include <limits>
#include <random>
#include <thread>

namespace Learning {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr auto Success = RemoteResult::Success;
constexpr auto Rejected = RemoteResult::GenerationRejected;
constexpr auto Unknown = RemoteResult::UnknownError;
constexpr auto Broken = RemoteResult::CommunicationsFailure;
constexpr auto Insufficient = RemoteResult::RequestInsufficient;

constexpr const char* Job = R"({"generation_id":"J"})";
constexpr const char* Pending = R"({"status":"PENDING","images":["x"],"prompt":"not yet"})";

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

class Helper final : public RemoteInferenceHelper {
public:
    bool ShouldExpand(const DynamicBitmap& picture) const override {
        return picture.GetWidth() == 100;
    }
    void PrepareRegion(DynamicBitmap& region, DynamicBitmap& mask) const override {
        ++prepared;
        EXPECT_EQ(region.GetBounds(), mask.GetBounds());
        EXPECT_EQ(mask.GetFormat(), Raster::Format::Alpha8);
        Fill(region, {0, 0, 40, 40}, 0x00FFFFFF);
        if (throws) {
            throw 7;
        }
    }
    void GetDocumentBounds(Kernel::RectT<int>& bounds,
                           const Raster::AffineTransform::Params&) const override {
        bounds = {0, 0, 2000, 2000};
    }

    mutable int prepared = 0;
    bool throws = false;
};

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

/// What a service may do, one after the other, and how a call ends by the rules of its operation.
class FaultPlan {
public:
    FaultPlan(std::mt19937& random, const PollRules& rules, int count)
        : m_random(random), m_rules(rules), m_count(count) {
        submission = Choose({Job, Job, Job, Job, Job, "500", "7", "cut", R"({"error":"X"})", "{}"});
        code = submission == Job ? PlanIndices() : submission == "cut" ? Broken : Unknown;
    }

    std::string submission;
    std::deque<std::string> polls;
    int pictures = 0;
    RemoteResult::Code code;

private:
    std::string Choose(const std::vector<std::string>& choices) {
        return choices[m_random() % choices.size()];
    }

    RemoteResult::Code PlanIndices() {
        const int indices = m_rules.endsWithError ? 1 : m_count;
        for (int i = 0; i < indices && (m_rules.endsWithError || pictures < m_count); ++i) {
            if (const auto end = PlanIndex()) {
                return *end;
            }
        }
        return pictures > 0 ? Success : Rejected;
    }

    std::optional<RemoteResult::Code> PlanIndex() {
        for (int attempt = 0; attempt < m_rules.attempts; ++attempt) {
            const std::string what = Choose({Pending, Pending, "503", "{}", "files", "files",
                                             "files", R"({"error":"X"})", "broken", "cut"});
            polls.push_back(what);
            if (what == "cut" || what == "broken") {
                return what == "cut" ? Broken : Unknown;
            }
            if (what.starts_with(R"({"error)")) {
                return m_rules.endsWithError ? std::optional(Unknown) : std::nullopt;
            }
            if (what == "files") {
                return PlanFiles(polls.back());
            }
        }
        return std::nullopt;
    }

    std::optional<RemoteResult::Code> PlanFiles(std::string& reply) {
        reply = R"({"images":[0)";
        std::optional<RemoteResult::Code> end;
        for (auto left = m_random() % 4; left > 0; --left) {
            const std::string file = Choose({"good.png", "good.png", "bad.txt", "none", "lost"});
            reply += ",\"" + std::string(ServiceBaseUrl) + file + '"';
            end = end || file != "lost" ? end : std::optional(Broken);
            pictures += !end && file == "good.png" ? 1 : 0;
        }
        reply += "]}";
        return end;
    }

    std::mt19937& m_random;
    const PollRules& m_rules;
    const int m_count;
};

TEST_F(PictureTest, EndsAsTheRulesSayWhateverTheServiceDoes) {
    const int rounds = std::getenv("ORVANTIS_SOAK") != nullptr ? 5000 : 20;
    m_files = {{"good.png", MakePNG(*MakePicture(544, 544, 0x00FF00FF))},
               {"bad.txt", "no picture"},
               {"none", "404"},
               {"lost", "cut"}};
    std::atomic<int> balance = 0;
    std::atomic<int> starts = 0;
    const auto registration =
        RemoteInference::GetInstance().Register([&](const auto& notification) {
            const bool isStart =
                dynamic_cast<const RemoteInferenceStartedNotification*>(&notification) != nullptr;
            balance += isStart ? 1 : -1;
            starts += isStart ? 1 : 0;
        });
    const Picture input = MakePicture(64, 64, 0xFF0000FF);
    const Helper helper;
    std::mt19937 random(11);
    for (int round = 0; round < rounds; ++round) {
        const PollRules* const rules[] = {&TextToImagePolling, &ImageToImagePolling,
                                          &ObjectReplacementPolling};
        const std::size_t which = random() % std::size(rules);
        const int count = static_cast<int>(random() % 4);
        FaultPlan plan(random, *rules[which], count);
        {
            const std::lock_guard lock(m_mutex);
            m_replies[rules[which]->operation] = plan.submission;
            m_polls = plan.polls;
        }
        RemoteInference::Pictures pictures;
        Picture output;
        Kernel::String prompt = "x";
        Raster::AffineTransform::Params where;
        const Result result =
            which == 0 ? m_client.InferTextToImage({}, {}, {}, {}, prompt, "", false, {}, count,
                                                   pictures, nullptr, nullptr)
            : which == 1
                ? m_client.InferImageToImage({}, input, prompt, {}, output, nullptr, nullptr)
                : m_client.InferImageObjectReplacement(helper, input, {}, {}, prompt, 0, count,
                                                       false, pictures, where, nullptr, nullptr);
        ASSERT_EQ(result.code, plan.code)
            << round << plan.submission << testing::PrintToString(plan.polls);
        ASSERT_EQ(which == 1 ? (output ? 1 : 0) : pictures.size(),
                  which == 1 ? (plan.pictures > 0 ? 1 : 0) : plan.pictures)
            << round;
        ASSERT_EQ(balance, 0);
        ASSERT_EQ(starts, round + 1);
    }
}

struct Reports {
    std::mutex mutex;
    std::vector<float> shares;
    std::vector<std::thread::id> threads;
    bool throws = false;

    static void Take(float share, void* context) {
        auto& self = *static_cast<Reports*>(context);
        const std::lock_guard lock(self.mutex);
        self.shares.push_back(share);
        self.threads.push_back(std::this_thread::get_id());
        if (self.throws) {
            throw 1;
        }
    }
};

TEST_F(TextToImage, ReportsItsProgressByTheClock) {
    m_fast.reset();
    Kernel::Testing::ScaledClock clock(150);  // on which requests don't take seconds
    const Kernel::Testing::ScopedClock scoped(clock);
    m_model.modelPollStartMS = 100'000;
    Reports reports;
    const auto infer = [&](ProgressCallback callback, void* context) {
        m_polls = {R"({"images":[)" + Quote("a.jpg") + "]}"};
        m_pictures.clear();
        return m_client
            .InferTextToImage(m_model, {}, {}, {}, m_prompt, "", false, m_style, 1, m_pictures,
                              callback, context)
            .code;
    };
    EXPECT_EQ(infer(Reports::Take, &reports), Success);
    ASSERT_GT(reports.shares.size(), 5U);
    EXPECT_LT(reports.shares[0], 0.1F);
    EXPECT_TRUE(std::ranges::is_sorted(reports.shares));
    EXPECT_GT(reports.shares.end()[-2], 0.14F);
    EXPECT_LT(reports.shares.end()[-2], 1.0F);
    EXPECT_EQ(reports.shares.back(), 1.0F);
    EXPECT_NE(reports.threads.front(), std::this_thread::get_id());
    for (const int expected : {0, -5}) {  // is over at once
        reports.shares.clear();
        m_model.modelPollStartMS = expected;
        EXPECT_EQ(infer(Reports::Take, &reports), Success);
        EXPECT_THAT(reports.shares, testing::Each(1.0F));
    }
    reports.shares.clear();
    reports.throws = true;
    EXPECT_EQ(infer(Reports::Take, &reports), Success);
    EXPECT_EQ(reports.shares.size(), 1U);
    EXPECT_EQ(m_log.GetMessages().size(), 1U);
    EXPECT_EQ(infer(Reports::Take, nullptr), Success);
    EXPECT_EQ(infer(nullptr, &reports), Success);
    EXPECT_EQ(reports.shares.size(), 1U);
}

TEST_F(TextToImage, EndsAtOnceWhereverItIs) {
    using namespace std::chrono_literals;
    using Clock = std::chrono::steady_clock;
    m_fast.reset();  // in real time
    for (const auto kind : {RemotePhase::Kind::Submitting, RemotePhase::Kind::Waiting,
                            RemotePhase::Kind::Polling, RemotePhase::Kind::Downloading}) {
        Reports reports;
        std::atomic<bool> isThere = false;
        RemoteControl control([&](const RemotePhase& phase) { isThere = phase.kind == kind; });
        m_polls = {R"({"images":[)" + Quote("a.jpg") + "]}"};
        Clock::time_point cancelled;
        std::jthread canceller([&] {
            while (!isThere) {
                std::this_thread::sleep_for(1ms);
            }
            std::this_thread::sleep_for(20ms);
            cancelled = Clock::now();
            control.Cancel();
        });
        const RemoteControl::Scope scope(control);
        if (kind == RemotePhase::Kind::Submitting || kind == RemotePhase::Kind::Waiting) {
            if (kind == RemotePhase::Kind::Submitting) {
                Serve({Server::WaitForClient});
            } else {
                Serve([this](const Server::Request& request) { return Answer(request); });
            }
            EXPECT_EQ(m_client
                          .InferTextToImage(m_model, {}, {}, {}, m_prompt, "", false, m_style, 1,
                                            m_pictures, Reports::Take, &reports)
                          .code,
                      Broken);
        } else {
            Serve([this, kind](const Server::Request& request) -> Server::Script {
                const bool isFile = request.method == "GET";
                return isFile == (kind == RemotePhase::Kind::Downloading)
                           ? Server::Script{Server::WaitForClient}
                           : Answer(request);
            });
            EXPECT_EQ(m_client
                          .ResumeTextToImage("J", m_model, m_prompt, false, 1, m_pictures,
                                             Reports::Take, &reports)
                          .code,
                      Broken);
        }
        const Clock::time_point ended = Clock::now();
        canceller.join();
        // 100 ms at most on a machine that has nothing else to do.
        EXPECT_LT(ended - cancelled, 1s) << static_cast<int>(kind);
        EXPECT_FALSE(std::ranges::count(reports.shares, 1.0F)) << "nothing is done";
        m_server = nullptr;
    }
}

}  // namespace
}  // namespace Learning
