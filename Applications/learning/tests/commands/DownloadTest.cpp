// Downloads from scripted servers into a temporary folder.

#include "Server/ScriptedServer.h"

#include "support/Environment.h"
#include "support/System.h"
#include "support/TestServer.h"
#include "support/ZipBuilder.h"
#include "terminal/DownloadProgress.h"
#include "tests/InterruptSelf.h"
#include "tests/LearningProgram.h"

#include <gmock/gmock.h>

#include <iterator>
#include <optional>

namespace LearningApp {
namespace {

using namespace Server;  // the steps of scripts
using Support::ReadFile;
using Support::ToPath;
using testing::AllOf;
using testing::HasSubstr;
using Testing::Outcome;
using testing::StartsWith;
using testing::UnorderedElementsAre;

/// The package of the network `name`, with what `file` holds.
std::string MakePackage(const std::string& name, const std::string& file) {
    return Support::MakeZip({{name + ".onnx", ReadFile(file)}});
}

/// What a server for `request` has: the networks that make_networks.py writes.
Script Serve(const Request& request) {
    const std::string name = request.target.substr(1, request.target.find(".zip") - 1);
    return Reply(200, {}, MakePackage(name, TEST_MODELS + name + ".onnx"));
}

class Download : public Testing::InFolder {
protected:
    Download() {
        for (const char* const variable : {"http_proxy", "https_proxy"}) {
            Support::SetEnvironment(
                variable, "http://127.0.0.1:1");  // is of no use to a server on this machine
        }
        std::filesystem::create_directory(ToPath(At("models")));
    }

    ~Download() override {
        for (const char* const variable : {"http_proxy", "https_proxy"}) {
            Support::SetEnvironment(variable, std::nullopt);
        }
    }

    Outcome RunWith(const ScriptedServer& server, std::vector<std::string> arguments,
                    const std::string& scheme = "http") const {
        const std::string address = scheme + "://localhost:" + std::to_string(server.GetPort());
        arguments.insert(arguments.begin(), {"--cache", At("models"), "--server", address});
        return Testing::RunBare(arguments);
    }

    /// Downloads one network from a server that answers with `script`.
    Outcome Fetch(const Script& script, ScriptedServer::Options options = {},
                  const std::string& scheme = "http") const {
        const ScriptedServer server(std::move(options), [&](const Request&) { return script; });
        return RunWith(server, {"download", "colourisation", "--force"}, scheme);
    }

    const std::string m_model = "models/Colourisation_2.6.onnx";
    const std::string m_package = MakePackage("Colourisation_2.6", TEST_MODELS "Enlarge.onnx");
};

TEST_F(Download, InstallsAllAndDeletesThem) {
    const ScriptedServer server({}, Serve);
    std::filesystem::remove(ToPath(At("models")));
    const Outcome all = RunWith(server, {"download", "all"});
    EXPECT_EQ(all.code, 0) << all.err;
    EXPECT_EQ(server.GetRequests().size(), 5U);
    for (const char* const name : {"SegmentationEncoder", "SegmentationDecoder", "DepthEstimation",
                                   "Colourisation", "SuperResolution"}) {
        EXPECT_THAT(all.err, HasSubstr(std::string("downloading ") + name + "\n"));
        EXPECT_THAT(all.out, HasSubstr(std::string("downloaded ") + name + " to " + At("models")));
    }

    EXPECT_THAT(RunWith(server, {"download", "all"}).out, HasSubstr("there already"));
    EXPECT_EQ(server.GetRequests().size(), 5U);
    MakeFile(m_model, "damaged");
    std::filesystem::last_write_time(ToPath(At(m_model)), {});
    EXPECT_EQ(RunWith(server, {"download", "COLOURISATION"}).code, 0);
    EXPECT_EQ(ReadFile(At(m_model)), ReadFile(TEST_MODELS "Colourisation_2.6.onnx"));

    const Outcome first = RunWith(server, {"delete", "depthestimation", "Colourisation"});
    EXPECT_EQ(first.code, 0);
    EXPECT_THAT(first.out, AllOf(HasSubstr("deleted"), testing::Not(HasSubstr("nothing"))));
    EXPECT_THAT(RunWith(server, {"delete", "all"}).out, HasSubstr("nothing to delete"));
    EXPECT_TRUE(std::filesystem::is_empty(ToPath(At("models"))));
}

TEST_F(Download, AsksNoProxyForThisMachine) {
    const ScriptedServer server({}, Serve);
    for (const char* const host : {"http://127.0.0.1:", "HTTP://LocalHost:"}) {
        const Outcome outcome = Testing::RunBare({"--models", At("models"), "--server",
                                                  host + std::to_string(server.GetPort()),
                                                  "download", "depth", "--force"});
        EXPECT_EQ(outcome.code, 0) << outcome.err;
    }
}

TEST_F(Download, TakesShortAndAmericanNames) {
    const ScriptedServer server({}, Serve);
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"depth", {"DepthEstimation"}},
        {"colorize", {"Colourisation"}},
        {"Colorization", {"Colourisation"}},
        {"super-resolve", {"SuperResolution"}},
        {"super_resolution", {"SuperResolution"}},
        {"segment", {"SegmentationEncoder", "SegmentationDecoder"}},
    };
    for (const auto& [name, types] : cases) {
        EXPECT_EQ(RunWith(server, {"download", name}).code, 0);
        std::set<std::string> files;
        for (const std::string& type : types) {
            files.insert(type + "_2.6.onnx");
        }
        EXPECT_EQ(Support::GetNames(At("models")), files) << name;
        EXPECT_EQ(RunWith(server, {"delete", name}).code, 0);
    }
}

TEST_F(Download, GoesOnAfterAFailure) {
    const ScriptedServer server({}, [](const Request& request) {
        return request.target.starts_with("/Segmentation") ? Reply(404) : Serve(request);
    });
    const Outcome outcome = RunWith(server, {"download", "all"});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("SegmentationEncoder: the server does not have"),
                                   HasSubstr("SegmentationDecoder: the server does not have")));
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("DepthEstimation"), HasSubstr("SuperResolution")));
}

TEST_F(Download, SaysWhatIsWrongAndTheCureAndKeepsTheNetwork) {
    const std::string head = FormatHead(200, {{"Content-Length", "70000"}});
    const std::string cut = m_package.substr(0, m_package.size() - 30);
    const std::string other = MakePackage("other", TEST_MODELS "Enlarge.onnx");
    const std::string lie = Support::MakeZip(
        {{.name = "Colourisation_2.6.onnx", .bytes = "not what the checksum says", .checksum = 1}});
    const struct {
        Script script;
        const char* what;
        const char* reason;
        const char* cure;
    } cases[] = {
        {Reply(404), "does not have this package", "status 404", "learning models"},
        {Reply(403), "the server refuses", "status 403", "http or https"},
        {Reply(503), "the server has failed", "status 503", "Try again"},
        {Reply(302, {{"Location", "/"}}), "broke off", "redirects", "Try again"},
        {{Send{head}, Send{"half"}, Close{}}, "broke off", "bytes remaining", "Try again"},
        {{Send{head}, Send{"half"}, Reset{}}, "broke off", Support::ResetReason, "Try again"},
        {{Send{"220 ready\r\n"}}, "no web server", "HTTP/0.9", "http or https"},
        {Reply(200, {}, "<html>Sign in</html>"), "no model package", "ZIP", "at fault"},
        {Reply(200, {}, cut), "no model package", "ZIP", "at fault"},
        {Reply(200, {}, lie), "or damaged", "CRC", "at fault"},
        {Reply(200, {}, other), "or damaged", "does not hold Colourisation_2.6.onnx", "top level"},
    };
    MakeFile(m_model, ReadFile(TEST_MODELS "Colourisation_2.6.onnx"));
    for (const auto& [script, what, reason, cure] : cases) {
        const Outcome outcome = Fetch(script);
        EXPECT_EQ(outcome.code, 1) << what;
        EXPECT_THAT(outcome.err, AllOf(HasSubstr("learning: cannot download Colourisation: "),
                                       HasSubstr(what), HasSubstr(reason), HasSubstr(cure)));
        EXPECT_EQ(outcome.out, "");
    }
    EXPECT_THAT(Fetch(Reply(200, {}, Support::MakeZip({{"Colourisation_2.6.onnx", "x"}}))).err,
                AllOf(HasSubstr("can't be loaded"), HasSubstr("was kept"), HasSubstr(At(m_model))));
    EXPECT_EQ(ReadFile(At(m_model)), ReadFile(TEST_MODELS "Colourisation_2.6.onnx"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(ToPath(At("models"))), {}), 1);
}

TEST_F(Download, JoinsFoldersAndReplacesEmptyOnes) {
    std::filesystem::create_directory(ToPath(At(m_model)));
    std::filesystem::create_directory(ToPath(At("models/more")));
    MakeFile("models/more/own", "");
    const std::string name = "Colourisation_2.6.onnx";
    const std::string network = ReadFile(TEST_MODELS "Enlarge.onnx");
    const auto fetch = [&](const char* weights) {
        return Fetch(
            Reply(200, {},
                  Support::MakeZip({{"more/", ""}, {"more/weights", weights}, {name, network}})));
    };
    for (const char* const weights : {"old", "new"}) {
        const Outcome outcome = fetch(weights);
        EXPECT_EQ(outcome.code, 0) << outcome.err;
        EXPECT_EQ(ReadFile(At("models/more/weights")), weights);
    }
    EXPECT_EQ(ReadFile(At(m_model)), network);
    EXPECT_EQ(Support::GetNames(At("models")), (std::set<std::string>{name, "more"}));
    EXPECT_TRUE(std::filesystem::exists(ToPath(At("models/more/own"))));
}

TEST_F(Download, FollowsNoLinks) {
    std::filesystem::create_directory(ToPath(At("elsewhere")));
    std::error_code refused;
    std::filesystem::create_directory_symlink(ToPath(At("elsewhere")), ToPath(At("models/more")),
                                              refused);
    if (refused) {
        GTEST_SKIP() << "nobody may make links here: " << refused;
    }
    const std::string network = ReadFile(TEST_MODELS "Enlarge.onnx");
    const std::string package =
        Support::MakeZip({{"more/", ""}, {"more/weights", "astray"}, {m_model.substr(7), network}});
    EXPECT_EQ(Fetch(Reply(200, {}, package)).code, 1);
    EXPECT_THAT(Support::GetNames(At("elsewhere")), testing::IsEmpty());
}

TEST_F(Download, NamesFilesByThePlaceWhereTheyWouldBe) {
    const std::string package = Support::MakeZip(
        {{"none/weights", "w"}, {m_model.substr(7), ReadFile(TEST_MODELS "Enlarge.onnx")}});
    const Outcome outcome = Fetch(Reply(200, {}, package));
    EXPECT_EQ(outcome.code, 0);
    EXPECT_THAT(outcome.err, HasSubstr("cannot create " + At("models/none/weights")));
}

TEST_F(Download, ClearsUpAfterDownloadsThatWereKilled) {
    const auto age = [this](const std::string& name) {
        const auto date = std::filesystem::file_time_type::clock::now() - std::chrono::hours(49);
        std::error_code refused;  // folders keep theirs on some systems
        std::filesystem::last_write_time(ToPath(At(name)), date, refused);
        return !refused;
    };
    for (const char* const folder :
         {"models/orvantis-new-1", "models/orvantis-new-2", "models/new"}) {
        std::filesystem::create_directory(ToPath(At(folder)));
        MakeFile(folder + std::string("/network"), "");
    }
    const bool isOld = age("models/orvantis-new-1");
    age("models/new");
    MakeFile("models/orvantis-abcdefghijklmnop.part", "");
    age("models/orvantis-abcdefghijklmnop.part");
    EXPECT_EQ(Fetch(Reply(200, {}, m_package)).code, 0);
    auto names = Support::GetNames(At("models"));
    names.erase(isOld ? "" : "orvantis-new-1");
    EXPECT_THAT(names, UnorderedElementsAre("Colourisation_2.6.onnx", "new", "orvantis-new-2"));
}

TEST_F(Download, AsksForWhatItNeeds) {
    const struct {
        std::vector<std::string> arguments;
        int code;
        const char* message;
    } cases[] = {
        {{"all"}, 2, "learning-service --packages"},
        {{"all", "--server", "ftp://host/"}, 2, "ftp://host/ is no address"},
        {{"all", "--server", "https://"}, 2, "is no address"},
        {{"Painter", "--server", "http://x"}, 2, "no network Painter\nThe names are depth, "},
        {{"all", "--server", "http://x", "--certificate", At("none.pem")}, 1, "none.pem"},
        {{"all", "--server", "http://x", "--models", MakeFile("file", "")}, 1, "create the folder"},
        {{"all", "--server", "http://127.0.0.1:1"}, 1, "can't be reached"},
        {{"Colourisation", "--server", "http://no host"}, 1, "not well-formed"},
    };
    Support::SetEnvironment("ORVANTIS_SERVER", std::nullopt);
    Support::SetEnvironment("ORVANTIS_MODELS", At("models"));
    for (auto [arguments, code, message] : cases) {
        arguments.insert(arguments.begin(), "download");
        const Outcome outcome = Testing::RunBare(arguments);
        EXPECT_EQ(outcome.code, code) << message;
        EXPECT_THAT(outcome.err, HasSubstr(message));
    }
    Support::SetEnvironment("ORVANTIS_MODELS", std::nullopt);
    EXPECT_THAT(GetFiles(), UnorderedElementsAre("models", "file"));
}

TEST_F(Download, TrustsTheCertificateThatIsNamed) {
    Support::GetAuthority().WriteCertificate(At("ca.pem"));
    ScriptedServer::Options options = Support::Encrypted();
    if (!Support::IsWindows) {  // Wine accepts any certificate
        EXPECT_THAT(Fetch(Reply(200), options, "https").err,
                    AllOf(HasSubstr("not trusted"), HasSubstr("--certificate FILE")));
    }
    const ScriptedServer server(std::move(options), Serve);
    EXPECT_EQ(RunWith(server, {"download", "all", "--certificate", At("ca.pem")}, "https").code, 0);
}

TEST_F(Download, EndsInOrderWhenItIsInterrupted) {
    MakeFile(m_model, ReadFile(TEST_MODELS "Colourisation_2.6.onnx"));
    Testing::ListenToEndings();
    for (const auto ending : {Support::Ending::Interrupt, Support::Ending::Terminate}) {
        const ScriptedServer server({}, [&](const Request&) {
            Testing::InterruptSelf(ending);
            return Reply(200, {}, m_package);
        });
        const Outcome outcome = RunWith(server, {"download", "all", "--force"});
        EXPECT_EQ(outcome.code, 130);
        EXPECT_THAT(outcome.err, testing::EndsWith("learning: interrupted\n"));
        EXPECT_EQ(server.GetRequests().size(), 1U);
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(ToPath(At("models"))), {}), 1);
    EXPECT_EQ(ReadFile(At(m_model)), ReadFile(TEST_MODELS "Colourisation_2.6.onnx"));
}

TEST(DownloadProgress, TellsWhatIsKnown) {
    EXPECT_EQ(FormatProgress(30'100'000, 66'300'000, 12e6),
              " 45%  30.1 MB/66.3 MB  12.0 MB/s  0:03 left");
    EXPECT_EQ(FormatProgress(999, 0, 0), "999 B");
    EXPECT_EQ(FormatProgress(1'500, 0, 1e9), "1.50 kB  1.00 GB/s");
    EXPECT_EQ(FormatProgress(999'600, 0, 0), "1.00 MB");
    EXPECT_EQ(FormatProgress(0, 3'600, 1), "  0%  0 B/3.60 kB  1 B/s  1:00:00 left");
    EXPECT_EQ(FormatProgress(7, 5, 1), "100%  7 B/5 B  1 B/s");
    EXPECT_EQ(FormatProgress(0, 4'000, 1), "  0%  0 B/4.00 kB  1 B/s  1:06:40 left");
    EXPECT_EQ(FormatProgress(0, ~0ULL, 1e-9), "  0%  0 B/18446744 TB  0 B/s");
}

TEST(DownloadProgress, TellsNoRateFromTooShortATimeNorAcrossARestart) {
    using namespace std::chrono_literals;
    Rate rate;
    const Rate::Clock::time_point start;
    rate.Add(start, 1'000);
    rate.Add(start + 200ms, 5'000);
    EXPECT_EQ(rate.Get(), 0);
    rate.Add(start + 1s, 0);
    rate.Add(start + 2s, 1'000);
    EXPECT_EQ(rate.Get(), 1'000);
}

TEST(DownloadProgress, ShowsTheRateOfTheLastSecondsAndNotTooOften) {
    using namespace std::chrono_literals;
    for (const bool isTerminal : {false, true}) {
        std::ostringstream out;
        const auto start = Rate::Clock::now() + 1h;
        {
            Spinner spinner(nullptr);
            DownloadProgress progress(spinner, out, isTerminal, "Net");
            for (int i = 0; i < 10'000; ++i) {  // 10 s at 1 MB/s, the last 5 s at 2 MB/s
                const int steps = i + std::max(0, i - 5'000);
                progress.Update(static_cast<std::uint64_t>(steps) * 1'000, 15'000'000,
                                start + i * 1ms);
            }
        }
        const std::string text = out.str();
        const auto shown = std::count(text.begin(), text.end(), isTerminal ? '[' : '\n');
        EXPECT_LE(shown, isTerminal ? 4 * 101 + 3 : 6);  // three of four signs are the terminal's
        EXPECT_GE(shown, 4);
        EXPECT_THAT(text, HasSubstr("Net"));
        EXPECT_THAT(text, HasSubstr("1.00 MB/s"));
        EXPECT_THAT(text, HasSubstr("2.00 MB/s"));
        EXPECT_EQ(text.ends_with("\r\x1B[K"), isTerminal);
    }
}

}  // namespace
}  // namespace LearningApp
