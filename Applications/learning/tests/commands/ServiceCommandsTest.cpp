// The commands that ask the inference service.

#include "Kernel/FileSystem.h"
#include "Kernel/Json.h"

#include "support/Privacy.h"
#include "support/System.h"
#include "terminal/ShellWords.h"
#include "tests/WithService.h"

#include <gmock/gmock.h>

namespace LearningApp {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using Testing::Outcome;
using testing::StartsWith;

class ServiceCommands : public Testing::WithService {
protected:
    ServiceCommands() : WithService([this](const Server::Request&) { return m_reply; }) {}

    Kernel::Json::Value GetLastBody() const {
        return *Kernel::Json::Parse(m_server.GetRequests().back().body);
    }

    Server::Script m_reply = Server::Reply(200, {}, R"(First\n\n\n\nthen.)");
};

TEST_F(ServiceCommands, AskWhatTheUserSays) {
    EXPECT_EQ(Call({"ask", "How", "do I?", "--session", "7"}).out, "First\n\nthen.\n");
    EXPECT_EQ(GetLastBody()["prompt"], "How do I?");
    EXPECT_EQ(GetLastBody()["session"], "7");
    EXPECT_EQ(Call({"hints", "cut", "out"}).out, R"(First\n\n\n\nthen.)" + std::string(1, '\n'));
    EXPECT_EQ(m_server.GetRequests().back().target.substr(4), "textToMCPHints");
    EXPECT_EQ(Call({"report", "no", "tail", "--code", "E7"}).code, 0);
    EXPECT_EQ(GetLastBody()["issue"], "no tail");
    EXPECT_EQ(GetLastBody()["code"], "E7");
    EXPECT_EQ(Call({"report", "--hint", "undo", "-q"}).out, "");
    EXPECT_EQ(GetLastBody()["hint"], "undo");
}

TEST_F(ServiceCommands, SendCredentialsAndKeepThemToThemselves) {
    const std::string file = MakeFile(
        "secrets",
        "# mine\n\nmirel_access_token=canary=1\r\ncustom_bearer=canary2\nmirel_user_id=me");
    Kernel::FileSystem::RestrictToOwner(file);
    m_reply = Server::Reply(500);
    const Outcome outcome =
        Call({"--verbose", "report", "x", "--credentials", file, "--user-id", "other"});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ((outcome.out + outcome.err).find("canary"), std::string::npos);
    EXPECT_EQ(GetLastBody()["mirel_access_token"], "canary=1");
    EXPECT_EQ(GetLastBody()["custom_bearer"], "canary2");
    EXPECT_EQ(GetLastBody()["mirel_user_id"], "other");
    EXPECT_EQ(GetLastBody()["mirel_api_url"], "");
    Support::LetOthersRead(file);
    EXPECT_THAT(Call({"ask", "x", "--credentials", file}).err,
                HasSubstr("its owner alone may\n" + GetRestriction(file)));
    const std::string wrong = MakeFile("wrong", "custom_bearer=x\ntoken=canary\n");
    Kernel::FileSystem::RestrictToOwner(wrong);
    EXPECT_THAT(Call({"ask", "x", "--credentials", wrong}).err,
                AllOf(HasSubstr("wrong: line 2 is none of"), testing::Not(HasSubstr("canary"))));
    EXPECT_EQ(m_server.GetRequests().size(), 1U);
}

TEST_F(ServiceCommands, TakeABearerFromTheEnvironment) {
    const auto report = [this](const std::optional<std::string>& bearer,
                               const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments =
            AddPlace({"report", "x", "--models", ".", "--verbose"});
        arguments.insert(arguments.end(), more.begin(), more.end());
        return Testing::RunProgram(arguments,
                                   {.environment = {{"OrvantisCustomInferenceBearer", bearer}}})
            .err;
    };
    const std::string trace = "Learning: Custom inference bearer: ";
    for (const std::string bearer : {"b c", ""}) {  // a variable that is empty is there, too
        EXPECT_THAT(report(bearer), HasSubstr(trace + bearer + '\n'));
        EXPECT_EQ(GetLastBody()["custom_bearer"], bearer.c_str());
    }
    EXPECT_THAT(report("x", {"--bearer", "y"}), HasSubstr(trace + "x\n"));
    EXPECT_EQ(GetLastBody()["custom_bearer"], "y");
    EXPECT_THAT(report(std::nullopt), testing::Not(HasSubstr("bearer")));
}

TEST_F(ServiceCommands, ListTheModels) {
    m_reply = Server::Reply(
        200, {},
        R"({"imageToImage":[{"modelName":"I\u202e\u009b\udb40\udc41","modelDescription":"D",)"
        R"("modelKey":"K","modelClass":"C","modelPollStartMS":1,)"
        R"("modelMaxDimension":2,"modelMinDimension":1,)"
        R"("modelPixelAlignment":32,"modelAllowedWidths":[5],)"
        R"("modelAllowedHeights":[],"modelMustBeSquare":true}]})");
    EXPECT_THAT(
        Call({"catalogue"}).out,
        AllOf(HasSubstr("I??? "), HasSubstr("1 to 2 pixels, multiples of 32, square. D\n")));
    EXPECT_THAT(
        Call({"catalog", "--json"}).out,
        AllOf(StartsWith(R"({"imageToImage":[{"modelAllowedHeights":[],"model)"),
              HasSubstr(R"("I\u202e\u009b\udb40\udc41")"), HasSubstr(R"("textToImage":[]})")));
    const std::size_t asked = m_server.GetRequests().size();
    EXPECT_THAT(Call({"catalogue", "--show-request"}).out,
                AllOf(StartsWith("GET " ORVANTIS_CONFIG_URL), HasSubstr("go to 127.0.0.1:")));
    EXPECT_THAT(Call({"catalogue", "--offline"}).out, HasSubstr("Halcyon Prime"));
    EXPECT_EQ(m_server.GetRequests().size(), asked);
    m_reply = Server::Reply(404);
    const Outcome without = Call({"catalogue"});
    EXPECT_EQ(without.code, 0);
    EXPECT_THAT(without.out, HasSubstr("Halcyon Prime"));
    EXPECT_THAT(without.err, HasSubstr("the service does not tell"));
    m_reply = Server::Reply(200, {}, "[]");
    EXPECT_EQ(Call({"catalogue"}).err, "learning: what the service tells is no list of models\n");
    EXPECT_THAT(Testing::Run({"catalogue", "--service", "127.0.0.1:1"}).err,
                HasSubstr("without it\n[Remote inference] "));
}

TEST_F(ServiceCommands, SayWhatIsWrong) {
    m_reply = Server::Reply(503);
    EXPECT_EQ(Call({"ask", "x"}).err, "learning: An unknown error occured - please try again.\n");
    const std::string https = "https://localhost:" + std::to_string(m_server.GetPort()) + "/v1/";
    if (!Support::IsWindows) {  // Wine accepts any certificate
        const std::string stale =
            MakeFile("stale.pem", Server::CertificateAuthority().GetCertificate());
        const std::vector<std::string> cases[] = {
            {"ask", "x"}, {"catalogue"}, {"ask", "x", "--certificate", stale}};
        for (std::vector<std::string> arguments : cases) {
            arguments.insert(arguments.end(), {"--service", https});
            EXPECT_THAT(Testing::Run(arguments).err, HasSubstr("--certificate names"));
        }
    }
    EXPECT_THAT(Testing::Run({"ask", "x", "--service", "[::1]:1"}).err,
                AllOf(HasSubstr("connect"), testing::Not(HasSubstr("certificate"))));
    for (const char* const place :
         {"http://localhost:8080/", ":1", "host:", "host:0", "h:65536", "h:1x", "https://"}) {
        const Outcome outcome = Testing::Run({"ask", "x", "--service", place});
        EXPECT_EQ(outcome.code, 2) << place;
        EXPECT_THAT(outcome.err, HasSubstr(place));
    }
}

TEST_F(ServiceCommands, SpeakTheLanguageOfTheUser) {
    using Variables = decltype(Support::Command::environment);
    const char* const german = "Bei der Datenübertragung ist ein Fehler aufgetreten";
    const std::pair<Variables, bool> cases[] = {
        {{{"LC_ALL", "de_AT.UTF-8"}}, true},
        {{{"LC_ALL", {}}, {"LANG", "en_GB"}, {"LANGUAGE", "xx:de:en"}}, true},
        {{{"LC_ALL", "C"}, {"LANGUAGE", "de"}}, false},
        {{{"LC_ALL", "de"}, {"LANGUAGE", "en:de"}}, false},
        {{{"LC_ALL", "../../de"}}, false},
    };
    for (const auto& [variables, isGerman] : cases) {
        const Outcome outcome = Testing::RunProgram(
            {"ask", "x", "--service", "127.0.0.1:1", "--models", "."}, {.environment = variables});
        EXPECT_EQ(outcome.code, 1);
        EXPECT_EQ(outcome.err.find(german) != std::string::npos, isGerman) << outcome.err;
    }
}

}  // namespace
}  // namespace LearningApp
