// The list of models, from the service and without it.

#include "Kernel/Json.h"
#include "Learning/ImageToImageAlphaMode.h"

#include "remote/styles/Styles.h"
#include "support/LeakCheck.h"
#include "tests/remote/RemoteTest.h"

#include <algorithm>
#include <random>
#include <regex>
#include <set>
#include <vector>

namespace Learning {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// One model of each kind, to which cases add what they are about.
std::string MakeTextModel(const std::string& more = "", const std::string& name = "T") {
    return R"({"modelName":")" + name +
           R"(","modelDescription":"D","modelKey":"K","modelClass":"C","modelPollStartMS":1,)"
           R"("modelMaxGenerations":2,"modelSupportsStyles":true,"modelSupportsVector":true,)"
           R"("modelSupportsAspects":true,"modelSupportsReferenceImage":true,)"
           R"("modelSupportsReferenceImageTypes":true,"modelSupportsPromptEnhancement":true)" +
           more + "}";
}
std::string MakeImageModel(const std::string& more = "") {
    return R"({"modelName":"I","modelDescription":"D","modelKey":"K","modelClass":"C",)"
           R"("modelPollStartMS":1,"modelMaxDimension":2,"modelMinDimension":3,)"
           R"("modelPixelAlignment":4,"modelAllowedWidths":[5,6],"modelAllowedHeights":[],)"
           R"("modelMustBeSquare":true)" +
           more + "}";
}

class Catalogue : public RemoteTest {
protected:
    /// Initialises a client with this document.
    RemoteInference Load(const std::string& document) {
        Serve(Server::Reply(200, {{"Content-Type", "application/json"}}, document));
        RemoteInference client = RemoteInference::GetInstance();
        client.Init(true);
        return client;
    }
    static std::vector<std::string> GetNames(const RemoteInference& client) {
        std::vector<std::string> names;
        for (const auto& model : client.GetTextToImageModels()) {
            names.emplace_back(model.modelName.c_str());
        }
        for (const auto& model : client.GetImageToImageModels()) {
            names.emplace_back(model.modelName.c_str());
        }
        return names;
    }
};

const char* const CompiledIn[] = {"Halcyon Prime",      "Petal Brisk",    "Tidewell",
                                  "Petal Brisk 2 (2K)", "Tidewell (UHD)", "Quill Edit",
                                  "Petal Brisk",        "Tidewell"};

TEST_F(Catalogue, IsCompiledIn) {
    RemoteInference client = RemoteInference::GetInstance();
    client.Init(false);
    EXPECT_THAT(GetNames(client), testing::ElementsAreArray(CompiledIn));
    EXPECT_EQ(client.GetDefaultTextToImageModel(), client.GetTextToImageModels()[0]);
    EXPECT_EQ(client.GetDefaultImageToImageModel(), client.GetImageToImageModels()[0]);
    EXPECT_EQ(client.GetTextToImageModels()[0],
              (TextToImageModel{"Halcyon Prime", "", "halcyon-prime", "Premium", 8, 20'000, true,
                                true, true, false, false, true, true}));
    EXPECT_EQ(client.GetTextToImageModels()[4],
              (TextToImageModel{"Tidewell (UHD)", "Uses more of your AI limit", "tidewell-ultra",
                                "Ultra", 8, 20'000, true, false, true, true, false, false, false}));
    EXPECT_EQ(client.GetImageToImageModels()[0], (ImageToImageModel{"Quill Edit",
                                                                    "",
                                                                    "quill-edit-dev",
                                                                    "Premium",
                                                                    15'000,
                                                                    1536,
                                                                    512,
                                                                    32,
                                                                    {},
                                                                    {},
                                                                    false,
                                                                    true}));
    EXPECT_EQ(client.GetImageToImageModels()[2], (ImageToImageModel{"Tidewell",
                                                                    "Uses more of your AI limit",
                                                                    "tidewell",
                                                                    "Ultra",
                                                                    15'000,
                                                                    1536,
                                                                    1536,
                                                                    0,
                                                                    {},
                                                                    {},
                                                                    false,
                                                                    false}));
    client.Init(false);
    EXPECT_EQ(GetNames(client).size(), 16U);
}

TEST_F(Catalogue, IsFetchedAnewEachTime) {
    for (const char* const name : {"First", "Second"}) {
        const RemoteInference client = Load(R"({"textToImage":[)" + MakeTextModel("", name) + "]}");
        EXPECT_THAT(GetNames(client), ElementsAre(name));
        const std::vector<Server::Request> requests = m_server->GetRequests();
        ASSERT_EQ(requests.size(), 1U);
        EXPECT_EQ(requests[0].method + requests[0].target, "GET" + GetTarget(ConfigUrl));
    }
    m_server = nullptr;
    RemoteInference client = RemoteInference::GetInstance();
    client.Init(true);  // not the one that it had
    EXPECT_THAT(GetNames(client), testing::ElementsAreArray(CompiledIn));
}

TEST_F(Catalogue, OfAServiceThatFailsIsTheOneThatIsCompiledIn) {
    const std::string good = R"({"textToImage":[)" + MakeTextModel() + "]}";
    const std::string open(512, '[');
    const std::string close(512, ']');
    const std::string documents[] = {"",
                                     "{",
                                     "no JSON",
                                     good + "x",
                                     good + good,
                                     R"({"a":1e999})",
                                     "{\"a\":\"\xFF\"}",
                                     good + std::string(1, '\0'),
                                     R"({"a":)" + open + close + "}"};
    for (const std::string& document : documents) {
        EXPECT_THAT(GetNames(Load(document)), testing::ElementsAreArray(CompiledIn)) << document;
    }
    EXPECT_FALSE(m_client.HasServiceCatalogue());
    EXPECT_TRUE(Load(good).HasServiceCatalogue());
    EXPECT_THAT(GetNames(Load("\xEF\xBB\xBF" + good + " \n")), ElementsAre("T"));
    Serve(Server::Reply(404, {}, good));
    m_client.Init(true);
    EXPECT_THAT(GetNames(m_client), testing::ElementsAreArray(CompiledIn));
    EXPECT_THAT(m_trace.GetMessages(), IsEmpty());
}

TEST_F(Catalogue, LeavesOutModelsThatAreNotWhole) {
    const std::string text = MakeTextModel();
    const auto with = [](std::string model, const std::string& what, const std::string& by) {
        return model.replace(model.find(what), what.size(), by);
    };
    const struct {
        std::string list;
        int count;
    } cases[] = {
        {"null", 0},
        {"{}", 0},
        {"7", 0},
        {"\"text\"", 0},
        {"true", 0},
        {R"({"b":)" + text + R"(,"a":)" + text + ",\"c\":1}", 2},  // its values
        {"[" + text + ",null,[],{},1,\"x\"," + text + "]", 2},
        {"[" + with(text, "\"modelKey\":\"K\",", "") + "]", 0},
        {"[" + with(text, "\"T\"", "7") + "]", 0},
        {"[" + with(text, "\"D\"", "null") + "]", 0},
        {"[" + with(text, "StartMS\":1", "StartMS\":true") + "]", 0},
        {"[" + with(text, "StartMS\":1", "StartMS\":\"1\"") + "]", 0},
        {"[" + with(text, "Styles\":true", "Styles\":1") + "]", 0},
        {"[" + with(text, "StartMS\":1", "StartMS\":2147483648") + "]", 0},
        {"[" + with(text, "StartMS\":1", "StartMS\":-2147483649") + "]", 0},
        {"[" + with(text, "StartMS\":1", "StartMS\":18446744073709551615") + "]", 0},
        {"[" + with(text, "StartMS\":1", "StartMS\":1e300") + "]", 0},
        {"[" + MakeTextModel(R"(,"modelIsDefault":"true")") + "]", 0},
        {"[" + MakeTextModel(R"(,"modelIsDefault":null)") + "]", 0},
        {"[" + MakeTextModel(R"(,"other":[1,2,{}],"modelKey":"last")") + "]", 1},
    };
    for (const auto& [list, count] : cases) {
        const RemoteInference client = Load(R"({"textToImage":)" + list + "}");
        EXPECT_EQ(client.GetTextToImageModels().size(), static_cast<std::size_t>(count)) << list;
        EXPECT_THAT(client.GetImageToImageModels(), IsEmpty());
        EXPECT_EQ(client.GetDefaultTextToImageModel(), TextToImageModel());
        EXPECT_EQ(client.GetDefaultImageToImageModel(), ImageToImageModel());
    }
    for (const char* const lists : {"[1.5]", "[true]", "{}", "[\"1\"]", "null", "[2147483648]"}) {
        const std::string model = with(MakeImageModel(), "[5,6]", lists);
        EXPECT_EQ(Load(R"({"imageToImage":[)" + model + "]}").GetImageToImageModels().size(),
                  std::string(lists) == "[1.5]" ? 1U : 0U);
    }
    const RemoteInference cut =
        Load(R"({"textToImage":[)" + with(text, "StartMS\":1", "StartMS\":-2147483648.9") + "," +
             with(text, "StartMS\":1", "StartMS\":-0.9") + "]}");
    EXPECT_EQ(cut.GetTextToImageModels().at(0).modelPollStartMS, -2147483647 - 1);
    EXPECT_EQ(cut.GetTextToImageModels().at(1).modelPollStartMS, 0);
}

TEST_F(Catalogue, SuggestsTheLastModelThatIsFlagged) {
    const RemoteInference client =
        Load(R"({"textToImage":[)" + MakeTextModel(R"(,"modelIsDefault":true)", "One") + "," +
             MakeTextModel(R"(,"modelIsDefault":true)", "Two") + "," +
             MakeTextModel(R"(,"modelIsDefault":false)", "Three") + R"(],"imageToImage":[)" +
             MakeImageModel(R"(,"modelIsDefault":true)") + "]}");
    EXPECT_THAT(GetNames(client), ElementsAre("One", "Two", "Three", "I"));
    EXPECT_EQ(client.GetDefaultTextToImageModel(), client.GetTextToImageModels()[1]);
    EXPECT_EQ(client.GetDefaultImageToImageModel(),
              (ImageToImageModel{"I", "D", "K", "C", 1, 2, 3, 4, {5, 6}, {}, true, true}));
}

TEST_F(Catalogue, ThatIsNoObjectIsTheOneErrorThatIsTold) {
    for (const char* const document : {"[]", "7", "\"text\"", "true"}) {
        m_client.Init(false);
        const std::size_t count = GetNames(m_client).size();
        Serve(Server::Reply(200, {}, document));
        EXPECT_THROW(m_client.Init(true), nlohmann::json::type_error) << document;
        EXPECT_EQ(GetNames(m_client).size(), count);
    }
    EXPECT_THAT(GetNames(Load("null")), IsEmpty());
}

/// Another document, such as a fault or an enemy makes of one.
std::string Mutate(std::string text, std::mt19937& random) {
    const char* const parts[] = {
        "null", "true", "-1",   "1e999",           "\"", "[", "]", "{", "}", ",", ":", "\\u", "0",
        "[[[[", " ",    "\xFF", "\"modelName\":1,"};
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    for (std::size_t count = 1 + below(4); count > 0 && !text.empty(); --count) {
        const std::size_t at = below(text.size());
        switch (below(4)) {
            case 0:
                text[at] = static_cast<char>(random());
                break;
            case 1:
                text.erase(at, 1 + below(20));
                break;
            case 2:
                text.insert(at, parts[below(std::size(parts))]);
                break;
            default:
                text.insert(at, text.substr(below(text.size()), below(200)));
        }
    }
    return text;
}

TEST_F(Catalogue, SurvivesWhateverTheServiceSends) {
    std::mt19937 random(5);
    const std::string good = R"({"textToImage":[)" + MakeTextModel(R"(,"modelIsDefault":true)") +
                             R"(],"imageToImage":[)" + MakeImageModel() + "]}";
    std::string document = good;
    m_client.Init(true);  // what the process makes once is there
    const Support::LeakCheck leaks;
    Serve([&document](const Server::Request&) { return Server::Reply(200, {}, document); });
    const int count = std::getenv("ORVANTIS_SOAK") != nullptr ? 100'000 : 200;
    int refused = 0;
    for (int i = 0; i < count; ++i) {
        document = Mutate(good, random);
        RemoteInference client = RemoteInference::GetInstance();
        try {
            client.Init(true);
        } catch (const nlohmann::json::type_error&) {
            ++refused;
            EXPECT_FALSE(Kernel::Json::Parse(document)->is_object()) << document;
        }
    }
    EXPECT_LT(refused, count / 2);
    m_server = nullptr;
}

TEST(Styles, HaveNamesAndIdentifiers) {
    EXPECT_EQ(StyleNameTable()[0], "3D render");
    EXPECT_EQ(StyleNameTable()[16], "Professional colour photography");
    EXPECT_EQ(StyleNameTable()[21], "Color sketch");
    EXPECT_EQ(StyleNameTable()[23], "Vibrant");
    const std::regex form("[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}");
    for (const Kernel::String& id : StyleIdTable()) {
        EXPECT_TRUE(std::regex_match(id.c_str(), form)) << id;
    }
    EXPECT_EQ(std::set(StyleIdTable().begin(), StyleIdTable().end()).size(), StyleCount);
}

TEST(AlphaModes, AreStoredAsNumbers) {
    const auto& serialiser = ImageToImageAlphaModeEnumSerialiser::GetInstance();
    std::vector<std::int64_t> values;
    for (const auto& [value, name] : serialiser.GetEntries()) {
        values.push_back(value);
        EXPECT_EQ(name, nullptr);
    }
    EXPECT_THAT(values, ElementsAre(0, 1, 2, 3));
}

}  // namespace
}  // namespace Learning
