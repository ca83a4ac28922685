#include "envelope/EnvelopeOperation.h"
#include "support/TestFolder.h"
#include "tests/ContentText.h"
#include "tests/EnvelopeText.h"

#include <gmock/gmock.h>

namespace Service {
namespace {

using Testing::MakeEnvelope;
using Testing::MakePost;

class Echo : public EnvelopeOperation {
public:
    explicit Echo(const Credentials& credentials) : EnvelopeOperation({{"text"}}, credentials) {}

private:
    Response Answer(const Envelope& envelope) const override {
        return AnswerText(envelope.Get("text"));
    }
};

Response Ask(const Server::Request& request, const Credentials& credentials = {}) {
    return Echo(credentials).Handle(request, "");
}

TEST(EnvelopeOperation, AnswersAWellFormedRequest) {
    const Response response = Ask(MakePost("\xEF\xBB\xBF " + MakeEnvelope({{"text", "ä\n"}})));
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(Testing::GetText(response.body), "ä\n");
    EXPECT_EQ(*Server::FindHeader(response.headers, "Content-Type"), "text/plain; charset=utf-8");
}

TEST(EnvelopeOperation, RefusesOtherMethodsAndTypes) {
    const std::string body = MakeEnvelope({{"text", ""}});
    for (const char* const method : {"GET", "HEAD", "PUT", "post"}) {
        Server::Request request = MakePost(body);
        request.method = method;
        EXPECT_EQ(Ask(request).status, 405) << method;
    }
    for (const char* const type : {"application/json; charset=utf-8", "text/plain", ""}) {
        Server::Request request = MakePost(body);
        request.headers = {{"content-type", type}};
        EXPECT_EQ(Ask(request).status, 415) << type;
        request.headers = {};
        EXPECT_EQ(Ask(request).status, 415);
    }
}

TEST(EnvelopeOperation, SaysInOneLineWhatIsWrongWithABody) {
    const std::string good = MakeEnvelope({{"text", "x"}});
    const std::pair<std::string, const char*> cases[] = {
        {"", "not well-formed"},
        {good.substr(1), "not well-formed"},
        {good + "x", "not well-formed"},
        {good + std::string(1, '\0'), "not well-formed"},
        {"{\"text\":\"\xFF\"}", "not well-formed"},
        {"{\"text\":1e999}", "not well-formed"},
        {std::string(20, '['), "not well-formed"},
        {std::string(500'000, '['), "too many members"},
        {"{\"text\":[" + std::string(64, ',') + "1]}", "too many members"},
        {MakeEnvelope({{"text", std::string(99, ',') + "\\\\\""}, {"x", 1}}), "no member \"x\""},
        {"{\"text\":\"" + std::string(99, '['), "not well-formed"},
        {"[]", "no JSON object"},
        {"null", "no JSON object"},
        {"{}", "\"client_build\""},
        {MakeEnvelope({{"client_build", "32000"}, {"text", ""}}), "\"client_build\""},
        {MakeEnvelope({{"client_build", 32000.0}, {"text", ""}}), "\"client_build\""},
        {MakeEnvelope({}), "the member \"text\" is missing"},
        {MakeEnvelope({{"text", nullptr}}), "the member \"text\" is no text"},
        {MakeEnvelope({{"text", "x"}, {"custom_bearer", 1}}), "\"custom_bearer\" is no text"},
        {MakeEnvelope({{"text", "x"}, {"more\n\x1B", ""}}), "no member \"more??\""},
        {"{\"mirel_api_url\":\"\",\"client_build\":1}", "\"mirel_access_token\" is missing"},
    };
    for (const auto& [body, reason] : cases) {
        const Response response = Ask(MakePost(body));
        const std::string text = Testing::GetText(response.body);
        EXPECT_EQ(response.status, 400) << reason;
        EXPECT_THAT(text, testing::HasSubstr(reason));
        EXPECT_EQ(text.find('\n'), text.size() - 1);
    }
}

TEST(EnvelopeOperation, WantsTheCredentialsOfTheFile) {
    const Support::TestFolder folder;
    const std::string path =
        folder.Write("c", "# ours\n\nmirel_access_token=secret token\ncustom_bearer=a=b\r\n");
    std::filesystem::permissions(path, std::filesystem::perms::owner_read);
    const Credentials credentials(path);
    const struct {
        const char* token;
        const char* bearer;
        int status;
    } cases[] = {
        {"secret token", "a=b", 200},
        {"secret token", "", 401},
        {"", "a=b", 401},
        {"secret tokem", "a=b", 401},
        {"secret toke", "a=b", 401},
        {"secret tokensecret token", "a=b", 401},
        {"secret token", "a=b\r", 401},
    };
    for (const auto& [token, bearer, status] : cases) {
        const Response response =
            Ask(MakePost(MakeEnvelope(
                    {{"text", ""}, {"mirel_access_token", token}, {"custom_bearer", bearer}})),
                credentials);
        EXPECT_EQ(response.status, status) << token << ' ' << bearer;
    }
    EXPECT_EQ(Ask(MakePost("{}"), credentials).status, 400);
}

TEST(Credentials, AreReadWithCare) {
    using std::filesystem::perms;
    const Support::TestFolder folder;
    const auto read = [&](const std::string& text, perms rights) {
        const std::string path = folder.Write("c", text);
        std::filesystem::permissions(path, rights);
        Credentials{path};
    };
    const perms own = perms::owner_read | perms::owner_write;
    const struct {
        const char* text;
        perms rights;
        const char* reason;
    } cases[] = {
        {"custom_bearer=secret", own | perms::group_read, "chmod 600"},
        {"custom_bearer=secret", own | perms::others_write, "chmod 600"},
        {"\nbearer=secret", own, "c, line 2: this is not KEY=VALUE"},
        {"custom_bearer=", own, "line 1: there is no value for custom_bearer"},
        {"custom_bearer", own, "line 1: there is no value for custom_bearer"},
        {"# none", own, "names no credentials"},
    };
    for (const auto& wrong : cases) {
        const auto readWrong = [&] { read(wrong.text, wrong.rights); };
        EXPECT_THAT(readWrong, testing::ThrowsMessage<std::runtime_error>(
                                   testing::AllOf(testing::HasSubstr(wrong.reason),
                                                  testing::Not(testing::HasSubstr("secret")))));
    }
    EXPECT_THROW(Credentials(folder.At("nowhere")), std::runtime_error);
    EXPECT_THROW(Credentials(folder.At("")), std::runtime_error);
}

}  // namespace
}  // namespace Service
