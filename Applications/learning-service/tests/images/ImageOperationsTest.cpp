#include "Kernel/Base64OutStream.h"
#include "Kernel/Json.h"
#include "Kernel/MemoryInOutStream.h"
#include "Kernel/Testing.h"
#include "Kernel/ZipArchive.h"

#include "codecs/PictureFiles.h"
#include "images/ImageEdit.h"
#include "images/ObjectReplacement.h"
#include "images/PollGeneration.h"
#include "images/RemoveBackground.h"
#include "images/ResultFiles.h"
#include "images/TextToImage.h"
#include "operations/Router.h"
#include "support/MemoryText.h"
#include "support/TestFolder.h"
#include "tests/ContentText.h"
#include "tests/EnvelopeText.h"

#include <gmock/gmock.h>

namespace Service {
namespace {

using Kernel::Json::Value;
using testing::HasSubstr;
using testing::StartsWith;

std::string ToBase64(const std::string& bytes) {
    const auto text = Kernel::MakeCounted<Kernel::MemoryInOutStream>();
    Kernel::Base64OutStream stream(text);
    stream.Write(std::as_bytes(std::span(bytes)));
    stream.FlushBase64();
    return Support::GetText(*text);
}

PicturePointer MakeDisc(int width, int height, Colour disc, Colour ground) {
    PicturePointer picture = MakePicture(width, height);
    ChangeColours(*picture, [&](Colour, int x, int y) {
        return std::hypot(x - width / 2, y - height / 2) < height / 4.0 ? disc : ground;
    });
    return picture;
}

std::string MakeJPEGText(int width, int height, Colour disc = {1, 1, 1}, Colour ground = {}) {
    return ToBase64(WriteJPEG(*MakeDisc(width, height, disc, ground), 90));
}

class Images : public testing::Test {
protected:
    Images() {
        const auto mount = [&](const char* name, auto operation) {
            m_router.Mount(std::string("/v1/") + name, std::move(operation));
        };
        mount("textToImageAsync",
              std::make_unique<TextToImageOperation>(m_credentials, m_models, m_studio));
        mount("imageEdit", std::make_unique<ImageEditOperation>(m_credentials, m_models, m_studio));
        mount("imageObjectReplacementAsync",
              std::make_unique<ObjectReplacementOperation>(m_credentials, m_studio));
        mount("pollGeneration", std::make_unique<PollGenerationOperation>(m_credentials, m_studio));
        mount("removeBackgroundInit",
              std::make_unique<RemoveBackgroundInitOperation>(m_credentials, m_studio));
        mount("removeBackgroundComplete",
              std::make_unique<RemoveBackgroundCompleteOperation>(m_credentials, m_studio));
        mount("uploads/", std::make_unique<UploadOperation>(m_studio));
        mount("results/", std::make_unique<ResultOperation>(m_studio));
    }

    Response Post(const std::string& operation, const Value& members) const {
        Server::Request request = Testing::MakePost(Testing::MakeEnvelope(members));
        request.target = "/v1/" + operation;
        request.headers.emplace_back("host", "inference.example:8443");
        return m_router.Route(request);
    }
    /// The answer to a request that is well formed.
    Value Ask(const std::string& operation, const Value& members) const {
        const Response response = Post(operation, members);
        const std::string text = Testing::GetText(response.body);
        EXPECT_EQ(response.status, 200) << text;
        return Kernel::Json::Parse(text).value_or(Value());
    }
    Response Send(const char* method, const std::string& address, Server::Headers headers = {},
                  std::string body = {}) const {
        const std::string origin = "https://inference.example:8443";
        EXPECT_THAT(address, StartsWith(origin));
        return m_router.Route({method, address.substr(origin.size()), std::move(headers),
                               std::move(body), 1, true, ""});
    }
    std::string GetAddress(const std::string& job, int index) const {
        const Value answer =
            Ask("pollGeneration", {{"generation_id", job + ":" + std::to_string(index)}});
        EXPECT_EQ(answer.at("status"), Value("COMPLETED"));
        EXPECT_EQ(answer.at("images").size(), 1);
        return ToText(answer.at("images").at(0));
    }
    PicturePointer Fetch(const std::string& job, int index) const {
        const Response response =
            Send("GET", GetAddress(job, index), {{"Content-Type", "application/jpeg"}});
        EXPECT_EQ(response.status, 200);
        return ReadPicture(Testing::GetText(response.body), PictureKinds::JPEGAndPNG);
    }
    static std::string ToText(const Value& value) {
        return std::string(std::string_view(value.get_ref<const Kernel::Json::String&>()));
    }
    std::string Order(const std::string& operation, const Value& members) const {
        return ToText(Ask(operation, members).at("generation_id"));
    }

    Kernel::Testing::ManualClock m_clock;
    const Kernel::Testing::ScopedClock m_scope{m_clock};
    const Credentials m_credentials;
    const ServedModels m_models{""};
    std::vector<std::string> m_accepted;
    Studio m_studio{std::chrono::seconds(4),
                    64,
                    "/v1/",
                    [this](const std::string& line) { m_accepted.push_back(line); },
                    Shelf<Job>({}),
                    Shelf<Upload>({}),
                    {}};
    Router m_router;

    const Value m_text{{"model", "petal-brisk"}, {"aspect", 0},
                       {"prompt", "a city"},     {"negativeprompt", ""},
                       {"enhanceprompt", "NO"},  {"style", "5453a998-1cc8-4bc2-9638-dc953f2a62aa"},
                       {"num_images", 2}};
    const Value m_edit{{"model", "quill-edit-dev"},
                       {"prompt", "invert"},
                       {"width", 96},
                       {"height", 64},
                       {"image", MakeJPEGText(96, 64)}};
    const Value m_object{{"prompt", "a vase"},
                         {"expand", false},
                         {"strength", 1.0},
                         {"number_of_images", 3},
                         {"image", MakeJPEGText(560, 544, {1, 0, 0}, {0, 0.5F, 0})},
                         {"mask", MakeJPEGText(560, 544)}};
};

Value With(Value members, const Value& changes) {
    for (const auto& change : changes.items()) {
        if (change.value().is_null()) {
            members.erase(change.key());
        } else {
            members[change.key()] = change.value();
        }
    }
    return members;
}

TEST_F(Images, AreDrawnAfterAWhileOnePerIndexAndTheSameEachTime) {
    const std::string job = Order("textToImageAsync", m_text);
    const Value poll{{"generation_id", job + ":1"}};
    EXPECT_EQ(Ask("pollGeneration", poll), Value({{"status", "PENDING"}}));
    m_clock.Advance(std::chrono::milliseconds(3999));
    EXPECT_EQ(Ask("pollGeneration", poll), Value({{"status", "PENDING"}}));
    m_clock.Advance(std::chrono::milliseconds(1));
    const PicturePointer first = Fetch(job, 0);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->GetWidth(), 64);
    EXPECT_TRUE(first->IsEqual(*Fetch(job, 0)));
    EXPECT_FALSE(first->IsEqual(*Fetch(job, 1)));
    EXPECT_FALSE(Ask("pollGeneration", {{"generation_id", job + ":0"}}).contains("prompt"));
    EXPECT_THAT(m_accepted,
                testing::ElementsAre("accepted textToImageAsync, job " + job + ", pictures: 2"));
    for (const std::string& unknown : {job + ":2", job + "x:0", std::string(":0")}) {
        EXPECT_EQ(Ask("pollGeneration", {{"generation_id", unknown}}),
                  Value({{"error", "GENERATION_UNKNOWN"}}))
            << unknown;
    }
    for (const std::string& wrong :
         {job, job + ":", job + ":-1", job + ":01", job + ":1 ", job + ":99999"}) {
        EXPECT_EQ(Post("pollGeneration", {{"generation_id", wrong}}).status, 400) << wrong;
    }
    m_clock.Advance(std::chrono::hours(1));
    EXPECT_EQ(Ask("pollGeneration", poll), Value({{"error", "GENERATION_UNKNOWN"}}));
}

TEST_F(Images, FollowAspectStyleGuidanceAndEnhancement) {
    m_studio.pending = {};
    const auto draw = [&](const Value& changes) {
        return Fetch(Order("textToImageAsync", With(m_text, changes)), 0);
    };
    const PicturePointer plain = draw({});
    const std::pair<int, int> sizes[] = {{64, 64}, {72, 56}, {56, 72}, {80, 56},
                                         {56, 80}, {88, 48}, {48, 88}};
    for (int aspect = 0; aspect < 7; ++aspect) {
        const PicturePointer picture = draw({{"aspect", aspect}});
        EXPECT_EQ(std::pair(picture->GetWidth(), picture->GetHeight()), sizes[aspect]);
    }
    EXPECT_FALSE(plain->IsEqual(*draw({{"style", "1d8c85e6-3905-476d-a310-4caef229b059"}})));
    EXPECT_FALSE(plain->IsEqual(*draw({{"prompt", "a town"}})));
    EXPECT_FALSE(
        plain->IsEqual(*draw({{"guidance_image", MakeJPEGText(9, 9)}, {"guidance_weight", 1.0}})));
    const Value enhanced{{"enhanceprompt", "YES"}};
    const std::string job =
        Order("textToImageAsync", With(With(m_text, enhanced), {{"model", "halcyon-prime"}}));
    EXPECT_THAT(ToText(Ask("pollGeneration", {{"generation_id", job + ":0"}}).at("prompt")),
                StartsWith("a city, "));
    EXPECT_FALSE(Ask("pollGeneration", {{"generation_id", job + ":1"}}).contains("prompt"));
    const std::string other =
        Order("textToImageAsync", With(m_text, enhanced));  // of a model that can't
    EXPECT_FALSE(Ask("pollGeneration", {{"generation_id", other + ":0"}}).contains("prompt"));
}

TEST_F(Images, AreChangedAsTheyWereSent) {
    m_studio.pending = {};
    const PicturePointer edited = Fetch(Order("imageEdit", m_edit), 0);
    ASSERT_TRUE(edited);
    EXPECT_EQ(std::pair(edited->GetWidth(), edited->GetHeight()), std::pair(96, 64));
    EXPECT_LT(GetPixel(edited->GetHostView(), 48, 32)[0], 20);
    EXPECT_GT(GetPixel(edited->GetHostView(), 2, 2)[0], 235);

    const std::string job = Order("imageObjectReplacementAsync", m_object);
    std::vector<PicturePointer> variants;
    for (int i = 0; i < 3; ++i) {
        variants.push_back(Fetch(job, i));
        EXPECT_EQ(std::pair(variants.back()->GetWidth(), variants.back()->GetHeight()),
                  std::pair(560, 544));
        EXPECT_NEAR(GetPixel(variants.back()->GetHostView(), 20, 20)[1], 128, 4);
        EXPECT_TRUE(i == 0 || !variants[0]->IsEqual(*variants.back()));
    }
    EXPECT_THAT(m_accepted, testing::ElementsAre(StartsWith("accepted imageEdit, job "),
                                                 "accepted imageObjectReplacementAsync, job " +
                                                     job + ", pictures: 3"));
}

TEST_F(Images, AreOrderedToTheLetter) {
    const std::string png = ToBase64(WritePNG(*MakePicture(96, 64)));
    const std::string large(16385, 'x');
    const Value guided{{"guidance_image", MakeJPEGText(9, 9)}, {"guidance_weight", 1.0}};
    const char* const unfit = "REQUEST_INSUFFICIENT";
    const struct {
        const char* operation;
        const Value& members;
        Value changes;
        const char* reason;  // of a 400, or the code of an error, which is in capitals
    } cases[] = {
        {"textToImageAsync", m_text, {{"aspect", 7}}, "\"aspect\" is not 0 to 6"},
        {"textToImageAsync", m_text, {{"aspect", 0.0}}, "\"aspect\" is no integer"},
        {"textToImageAsync", m_text, {{"aspect", 1ULL << 63}}, "\"aspect\" is no integer"},
        {"textToImageAsync", m_text, {{"style", ""}}, "\"style\""},
        {"textToImageAsync", m_text, {{"enhanceprompt", true}}, "\"enhanceprompt\" is no text"},
        {"textToImageAsync", m_text, {{"enhanceprompt", "yes"}}, "neither YES nor NO"},
        {"textToImageAsync", m_text, {{"num_images", 0}}, "is not 1 to 8"},
        {"textToImageAsync", m_text, {{"num_images", 9}}, "is not 1 to 8"},
        {"textToImageAsync", m_text, {{"num_images", nullptr}}, "\"num_images\" is missing"},
        {"textToImageAsync", m_text, {{"number_of_images", 1}}, "no member \"number_of_images\""},
        {"textToImageAsync", m_text, {{"prompt", ""}}, "\"prompt\" is empty"},
        {"textToImageAsync", m_text, {{"prompt", large}}, "\"prompt\" has more than 16384"},
        {"textToImageAsync", m_text, {{"negativeprompt", large}}, "\"negativeprompt\" has more"},
        {"textToImageAsync", m_text, {{"model", "none"}}, "CLIENT_INSUFFICIENT"},
        {"textToImageAsync", m_text, {{"model", "quill-edit-dev"}}, "CLIENT_INSUFFICIENT"},
        {"textToImageAsync", m_text, {{"prompt", "a celebrity"}}, "GENERATION_REJECTED_CELEBRITY"},
        {"textToImageAsync", m_text, {{"prompt", "Violence!"}}, "GENERATION_REJECTED_VIOLENCE"},
        {"textToImageAsync", m_text, {{"guidance_weight", 1.0}}, "do not come together"},
        {"textToImageAsync", m_text, {{"guidance_type", "StyleTransfer"}}, "do not come together"},
        {"textToImageAsync", m_text, With(guided, {{"guidance_weight", 1.5}}), "is not 0 to 1"},
        {"textToImageAsync", m_text, With(guided, {{"guidance_type", "StyleTransfer"}}),
         "none of this model"},
        {"textToImageAsync", m_text, With(guided, {{"model", "halcyon-prime"}}),
         "takes no guidance"},
        {"textToImageAsync", m_text, With(guided, {{"guidance_image", png}}), unfit},
        {"imageEdit", m_edit, {{"width", 95}}, "not as wide and high"},
        {"imageEdit", m_edit, {{"height", 0}}, "\"height\" is not 1 to 65500"},
        {"imageEdit", m_edit, {{"width", -1}}, "\"width\" is not"},
        {"imageEdit", m_edit, {{"image", ""}}, "no base64"},
        {"imageEdit", m_edit, {{"image", MakeJPEGText(96, 64) + "="}}, "no base64"},
        {"imageEdit", m_edit, {{"image", "data:image/jpeg;base64,AAAA"}}, "no base64"},
        {"imageEdit", m_edit, {{"image", MakeJPEGText(96, 64).substr(0, 400)}}, unfit},
        {"imageEdit", m_edit, {{"image", png}}, unfit},
        {"imageEdit",
         m_edit,
         {{"image", MakeJPEGText(80, 64)}, {"width", 80}},
         unfit},                                                   // not in 32s
        {"imageEdit", m_edit, {{"model", "petal-brisk"}}, unfit},  // not square
        {"imageEdit", m_edit, {{"model", "halcyon-prime"}}, "CLIENT_INSUFFICIENT"},
        {"imageEdit", m_edit, {{"prompt", "blood"}}, "GENERATION_REJECTED_VIOLENCE"},
        {"imageObjectReplacementAsync", m_object, {{"expand", "YES"}}, "\"expand\" is no boolean"},
        {"imageObjectReplacementAsync", m_object, {{"strength", "1"}}, "\"strength\" is no number"},
        {"imageObjectReplacementAsync",
         m_object,
         {{"strength", -0.1}},
         "\"strength\" is not 0 to 1"},
        {"imageObjectReplacementAsync", m_object, {{"num_images", 1}}, "no member \"num_images\""},
        {"imageObjectReplacementAsync", m_object, {{"model", "x"}}, "no member \"model\""},
        {"imageObjectReplacementAsync", m_object, {{"mask", MakeJPEGText(544, 544)}}, "same size"},
        {"imageObjectReplacementAsync", m_object, {{"mask", png}}, unfit},
        {"imageObjectReplacementAsync",
         m_object,
         {{"image", MakeJPEGText(543, 544)}, {"mask", MakeJPEGText(543, 544)}},
         unfit},
        {"removeBackgroundInit", Value::object(), {{"upload_id", ""}}, "no member \"upload_id\""},
        {"removeBackgroundComplete", {{"upload_id", "x"}}, {}, "UPLOAD_UNKNOWN"},
    };
    for (const auto& [operation, members, changes, reason] : cases) {
        const Response response = Post(operation, With(members, changes));
        const std::string text = Testing::GetText(response.body);
        if (*reason >= 'A' && *reason <= 'Z') {
            EXPECT_EQ(response.status, 200) << text;
            EXPECT_EQ(text, std::string("{\"error\":\"") + reason + "\"}") << operation;
        } else {
            EXPECT_EQ(response.status, 400) << reason;
            EXPECT_THAT(text, HasSubstr(reason));
        }
    }
    EXPECT_TRUE(m_accepted.empty());
    Server::Request request = Testing::MakePost(Testing::MakeEnvelope(m_text));
    request.target = "/v1/textToImageAsync";
    for (const char* const host : {"", "a/b", "a b", "evil@x"}) {
        request.headers.resize(1);
        request.headers.emplace_back("Host", host);
        EXPECT_THAT(Testing::GetText(m_router.Route(request).body), HasSubstr("Host")) << host;
    }
}

TEST_F(Images, AreCutOutOfTheirUploads) {
    const PicturePointer picture = MakeDisc(90, 70, {1, 0.2F, 0.1F}, {0.1F, 0.4F, 0.9F});
    const Value slot = Ask("removeBackgroundInit", Value::object());
    const std::string address = ToText(slot.at("upload_url"));
    const Value complete{{"upload_id", slot.at("upload_id")}};
    const Server::Headers binary{{"Content-Type", "application/octet-stream"}};
    EXPECT_EQ(Ask("removeBackgroundComplete", complete), Value({{"error", "UPLOAD_MISSING"}}));
    const std::string jpeg = WriteJPEG(*picture, 90);
    EXPECT_EQ(Send("POST", address, binary, jpeg).status, 405);
    EXPECT_EQ(Send("PUT", address, {{"Content-Type", "image/jpeg"}}, jpeg).status, 415);
    EXPECT_EQ(Send("PUT", address, binary, "").status, 400);
    EXPECT_EQ(Send("PUT", address + "0", binary, jpeg).status, 404);
    EXPECT_EQ(Send("PUT", address, binary, jpeg).status, 200);
    EXPECT_EQ(Send("PUT", address, binary, jpeg).status, 409);
    EXPECT_EQ(m_router.GetBodyLimit({"PUT", "/v1/uploads/x", {}, "", 1, true, ""}), 21'999'999);
    const Value answer = Ask("removeBackgroundComplete", complete);
    EXPECT_EQ(Ask("removeBackgroundComplete", complete), answer);
    EXPECT_EQ(m_accepted.size(), 1);
    const std::string result = ToText(answer.at("download_url"));
    const Response response = Send("GET", result);
    EXPECT_EQ(*Server::FindHeader(response.headers, "Content-Type"), "application/zip");
    const std::string bytes = Testing::GetText(response.body);
    const auto view = std::as_bytes(std::span(bytes));
    const Kernel::ZipArchive archive(Kernel::MakeCounted<Kernel::MemoryInOutStream>(
        std::vector<std::byte>(view.begin(), view.end())));
    const auto read = [&](const char* name) {
        std::string content(bytes.size(), '\0');
        content.resize(archive.Open(name)->ReadFully(std::as_writable_bytes(std::span(content))));
        return content;
    };
    EXPECT_TRUE(read("color.jpg") == jpeg);
    const std::string png = read("alpha.png");
    EXPECT_EQ(png[25], 0);  // grey, as the PNG standard numbers colour types
    const PicturePointer alpha = ReadPicture(png, PictureKinds::JPEGAndPNG);
    EXPECT_EQ(std::pair(alpha->GetWidth(), alpha->GetHeight()), std::pair(90, 70));
    EXPECT_EQ(GetPixel(alpha->GetHostView(), 45, 35)[0], 255);
    EXPECT_EQ(GetPixel(alpha->GetHostView(), 3, 3)[0], 0);
    EXPECT_EQ(Send("GET", result + "x").status, 404);
    EXPECT_EQ(Send("PUT", address, binary, jpeg).status, 409);

    const Value other = Ask("removeBackgroundInit", Value::object());
    EXPECT_EQ(Send("PUT", ToText(other.at("upload_url")), binary, "no picture").status, 200);
    EXPECT_EQ(Ask("removeBackgroundComplete", {{"upload_id", other.at("upload_id")}}),
              Value({{"error", "REQUEST_INSUFFICIENT"}}));
}

TEST_F(Images, AreFoundByTheirAddressesAlone) {
    const std::string job = Order("textToImageAsync", m_text);
    m_clock.Advance(std::chrono::seconds(4));
    const std::string address = GetAddress(job, 1);
    EXPECT_THAT(address, testing::EndsWith("/1.jpg"));
    EXPECT_EQ(address.find(job), std::string::npos);
    const std::string start = address.substr(0, address.size() - 5);
    EXPECT_EQ(Send("HEAD", address).status, 200);
    EXPECT_EQ(Send("POST", address).status, 405);
    for (const char* const name :
         {"", "2.jpg", "1.png", "01.jpg", "1", ".jpg", "1.jpg/", "cutout.zip"}) {
        EXPECT_EQ(Send("GET", start + name).status, 404) << name;
    }
    EXPECT_EQ(Send("GET", "https://inference.example:8443/v1/results/" + job + "/1.jpg").status,
              404);
}

TEST_F(Images, AreOfTheModelsOfTheCatalogueAsItIsNow) {
    const Support::TestFolder folder;
    const std::string file = folder.Write(
        "c",
        R"({"textToImage": [1, {"modelKey": "own", "modelMaxGenerations": 1}], "imageToImage": 5})");
    const ServedModels models(file);
    EXPECT_EQ(models.FindDrawing("own")->maxCount, 1);
    EXPECT_FALSE(models.FindDrawing("petal-brisk"));
    EXPECT_FALSE(models.FindEditing("own"));
    folder.Write("c", "[]");
    EXPECT_FALSE(models.FindDrawing("own"));
}

}  // namespace
}  // namespace Service
