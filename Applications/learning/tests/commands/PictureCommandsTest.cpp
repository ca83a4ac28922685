// The commands that have the inference service make pictures, and their journal of jobs.

#include "Kernel/Json.h"
#include "Kernel/Testing.h"
#include "Raster/PixelAccessor.h"

#include "commands/ObjectDocument.h"
#include "journal/JobJournal.h"
#include "support/ZipBuilder.h"
#include "tests/WithService.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <spawn.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

namespace LearningApp {
namespace {

using Kernel::Json::Value;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Testing::Outcome;
using Testing::Photo;

constexpr const char* Catalogue =
    R"({"textToImage":[{"modelName":"M","modelDescription":"","modelKey":"maker","modelClass":"",)"
    R"("modelPollStartMS":20000,"modelMaxGenerations":3,"modelSupportsStyles":true,)"
    R"("modelSupportsVector":false,"modelSupportsAspects":true,"modelSupportsReferenceImage":true,)"
    R"("modelSupportsReferenceImageTypes":true,"modelSupportsPromptEnhancement":true,)"
    R"("modelIsDefault":true},{"modelName":"P","modelDescription":"","modelKey":"plain",)"
    R"("modelClass":"","modelPollStartMS":20000,"modelMaxGenerations":1,)"
    R"("modelSupportsStyles":false,"modelSupportsVector":false,"modelSupportsAspects":false,)"
    R"("modelSupportsReferenceImage":false,"modelSupportsReferenceImageTypes":false,)"
    R"("modelSupportsPromptEnhancement":false}],"imageToImage":[{"modelName":"I",)"
    R"("modelDescription":"","modelKey":"editor","modelClass":"C","modelPollStartMS":1,)"
    R"("modelMaxDimension":1024,"modelMinDimension":0,"modelPixelAlignment":0,)"
    R"("modelAllowedWidths":[],"modelAllowedHeights":[],"modelMustBeSquare":false,)"
    R"("modelIsDefault":true}]})";

constexpr std::array Red{255, 0, 0, 255};
constexpr std::array Green{0, 255, 0, 255};
constexpr std::array Blue{0, 0, 255, 255};

/// A service that makes green pictures, and time that passes 2,000 times as fast.
class PictureCommands : public Testing::WithService {
protected:
    PictureCommands() : WithService([this](const auto& request) { return Answer(request); }) {
        setenv("XDG_STATE_HOME", At("state").c_str(), 1);
        m_photo = MakePhoto(64, 48, [](int, int) { return Blue; });
        std::filesystem::rename(m_photo, At("blue.png"));
        m_photo = At("blue.png");
        m_green = MakePNG(64, 48, [](int, int) { return Green; });
    }

    /// The bytes of a file.
    std::string MakePNG(int width, int height, const Testing::Paint& paint) const {
        const std::string path = MakePhoto(width, height, paint);
        std::string bytes = Support::ReadFile(path);
        std::filesystem::remove(path);
        return bytes;
    }

    Server::Script Answer(const Server::Request& request) {
        const std::string name = request.target.substr(request.target.rfind('/') + 1);
        if (name.ends_with(".png") || name.ends_with(".zip")) {
            return Server::Reply(200, {}, name == "cut.zip" ? m_archive : m_green);
        }
        if (request.method == "GET") {
            return Server::Reply(200, {}, Catalogue);
        }
        if (request.method == "PUT") {
            return Server::Reply(200);
        }
        if (name == "pollGeneration") {
            if (m_atPoll) {
                m_atPoll();
            }
            if (m_raises && ++m_polls == 2) {
                std::raise(SIGTERM);
            }
            const bool isSecond = request.body.find(R"("J:1:1")") != std::string::npos;
            return Server::Reply(200, {},
                                 m_raises                        ? R"({"status":"PENDING"})"
                                 : isSecond && !m_second.empty() ? m_second
                                                                 : m_result);
        }
        m_bodies[name].push_back(*Kernel::Json::Parse(request.body));
        return Server::Reply(200, {}, m_replies.contains(name) ? m_replies[name] : m_accepted);
    }
    static std::string Quote(const std::string& file) {
        return '"' + std::string(ORVANTIS_SERVICE_URL) + file + '"';
    }

    std::string ReadOnly(const std::string& name) const { return Support::ReadFile(At(name)); }
    /// The pixels, since one picture need not always be written as the same bytes.
    std::string ReadPicture(const std::string& name) const {
        const Photo picture = Testing::LoadResult(At(name));
        std::string pixels = std::to_string(picture->GetWidth()) + ' ';
        for (int y = 0; y < picture->GetHeight(); ++y) {
            pixels.append(
                reinterpret_cast<const char*>(std::as_const(*picture).GetHostView().At(0, y)),
                4 * static_cast<std::size_t>(picture->GetWidth()));
        }
        return pixels;
    }
    /// Without what a process that is killed may leave.
    std::set<std::string> GetJobs() const {
        std::set<std::string> names = Support::GetNames(At("state/orvantis/jobs"));
        std::erase_if(names, [](const std::string& name) { return name.ends_with(".part"); });
        return names;
    }
    std::size_t CountSent() const { return m_server.GetRequests().size(); }

    /// A cut-out of the photo: a square of 10 pixels.
    std::string MakeCutOut(const char* name = "object.png") const {
        const std::string path = MakePhoto(64, 48, [](int x, int y) {
            const bool isInside = x >= 20 && x < 30 && y >= 20 && y < 30;
            return isInside ? Blue : std::array{9, 9, 9, 0};
        });
        std::filesystem::rename(path, At(name));
        return At(name);
    }

    std::string m_accepted = R"({"generation_id":"J:1"})";
    std::map<std::string, std::string> m_replies;  // else that it is accepted
    std::string m_result = R"({"prompt":"a fat cat","images":[)" + Quote("a.png") + "]}";
    std::string m_second;  // the same for the second picture of "J:1"; empty: no other
    std::string m_archive;
    std::map<std::string, std::vector<Value>> m_bodies;
    std::atomic<bool> m_raises = false;  // sends SIGTERM at the second poll, and never has a result
    std::atomic<int> m_polls = 0;
    std::function<void()> m_atPoll;
    std::string m_photo;
    std::string m_green;
    Kernel::Testing::ScaledClock m_clock{2000};
    std::optional<Kernel::Testing::ScopedClock> m_fast{m_clock};
};

TEST_F(PictureCommands, GenerateWithAllThatCanBeSaid) {
    const std::vector<std::string> command{
        "generate", "a",        "cat",     "-o",          At("out.png"), "-n",
        "2",        "--model",  "maker",   "--aspect",    "3",           "--negative",
        "no dog",   "--style",  "Pop-Art", "--reference", m_photo,       "--reference-use",
        "face",     "--enhance"};
    const Outcome outcome = Call(command);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.code, 0);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("out-2.png\n"), HasSubstr("\na fat cat\n")));
    EXPECT_EQ(Testing::GetPixel(Testing::LoadResult(At("out-1.png")), 5, 5), Green);
    EXPECT_EQ(ReadPicture("out-1.png"), ReadPicture("out-2.png"));
    EXPECT_THAT(GetJobs(), IsEmpty());
    const Value& body = m_bodies["textToImageAsync"].back();
    for (const auto& [key, value] : std::initializer_list<std::pair<const char*, Value>>{
             {"prompt", "a cat"},
             {"negativeprompt", "no dog"},
             {"model", "maker"},
             {"aspect", 3},
             {"num_images", 2},
             {"enhanceprompt", "YES"},
             {"style", "35baad12-eede-4655-ad20-fd97bf674beb"},
             {"guidance_type", "FaceTransfer"}}) {
        EXPECT_EQ(body[key], value) << key;
    }
    EXPECT_TRUE(body.contains("guidance_image"));

    const std::size_t sent = CountSent();
    EXPECT_THAT(Call(command).err, HasSubstr("out-1.png is there already"));
    EXPECT_EQ(CountSent(), sent);
    std::vector<std::string> forced = command;
    forced.emplace_back("--force");
    m_green = MakePNG(9, 9, [](int, int) { return Red; });
    EXPECT_EQ(Call(forced).code, 0);
    EXPECT_EQ(ReadPicture("out-2.png"), ReadPicture("out-1.png"));
    EXPECT_EQ(Testing::GetPixel(Testing::LoadResult(At("out-2.png")), 5, 5), Red);

    // More than was asked for: beside it, and over nothing.
    m_result = R"({"images":[)" + Quote("a.png") + "," + Quote("b.png") + "]}";
    MakeFile("one-2.png", "mine");
    EXPECT_EQ(Call({"generate", "x", "-q", "-o", At("one.png")}).out, "");
    EXPECT_EQ(ReadOnly("one-2.png"), "mine");
    EXPECT_EQ(ReadPicture("one-3.png"), ReadPicture("one.png"));
    EXPECT_FALSE(m_bodies["textToImageAsync"].back().contains("guidance_image"));
}

TEST_F(PictureCommands, RefuseBeforeAnythingIsPaid) {
    const std::string out = At("out.png");
    const std::string object = MakeCutOut();
    const std::string small = MakePhoto(9, 9, [](int, int) { return Red; });
    MakeFile("there.png", "");
    const struct {
        std::vector<std::string> arguments;
        const char* message;
        int code = 2;
    } cases[] = {
        {{"generate", "x"}, "--output is required"},
        {{"generate", "-o", out}, "PROMPT is required"},
        {{"generate", "x", "-o", At("out.jpg")}, "end in .png"},
        {{"generate", "x", "-o", At("there.png")}, "there.png is there already"},
        {{"generate", "x", "-o", "-", "-n", "2"}, "do not fit into the standard output"},
        {{"generate", "x", "-o", out, "-n", "0"}, "--count"},
        {{"generate", "x", "-o", out, "-n", "4"}, "maker makes 3 pictures at most"},
        {{"generate", "x", "-o", out, "--model", "makr"}, "no model makr for this; did you mean"},
        {{"generate", "x", "-o", out, "--style", "pop"},
         "did you mean pop-art?\nThe styles are 3d"},
        {{"generate", "x", "-o", out, "--aspect", "-1"}, "--aspect"},
        {{"generate", "x", "-o", out, "--aspect", "1", "--model", "plain"}, "plain knows no asp"},
        {{"generate", "x", "-o", out, "--enhance", "--model", "plain"}, "plain enhances no pr"},
        {{"generate", "x", "-o", out, "--reference", m_photo, "--model", "plain"}, "takes no ref"},
        {{"generate", "x", "-o", out, "--reference", "none.png"}, "none.png", 1},
        {{"generate", "x", "-o", out, "--reference-use", "face"}, "--reference alone"},
        {{"edit", m_photo, "x", "-o", out, "--model", "maker"}, "no model maker for this"},
        {{"edit", m_photo, "x", "-o", m_photo}, "blue.png is there already"},
        {{"edit", m_photo, "x", "-o", out, "--alpha", "none"}, "--alpha"},
        {{"edit", m_photo, "-o", out}, "PROMPT is required"},
        {{"remove-background", m_photo, "-o", At("there.png")}, "there.png is there already"},
        {{"remove-background", m_photo, small, "-o", At("t{}")}, "tphoto end in .png", 1},
        {{"replace-object", m_photo, "x", "-o", out}, "--object is required"},
        {{"replace-object", m_photo, "x", "-o", out, "--object", small}, "9 x 9 pixels", 1},
        {{"replace-object", m_photo, "x", "-o", out, "--object", m_photo}, "is no cut-out", 1},
        {{"replace-object", m_photo, "x", "-o", out, "--object", object, "--strength", "nan"},
         "not within 0 and 1"},
        {{"replace-object", m_photo, "x", "-o", out, "--object", object, "--strength", "0.5",
          "--prepare"},
         "--prepare is for"},
        {{"resume", "J"}, "there is no job J in the journal"},
        {{"jobs", "--forget", "J"}, "there is no job J in the journal"},
    };
    for (const auto& [arguments, message, code] : cases) {
        const Outcome outcome =
            arguments.front() == "jobs" ? Testing::Run(arguments) : Call(arguments);
        EXPECT_EQ(outcome.code, code) << message;
        EXPECT_THAT(outcome.err, HasSubstr(message));
    }
    EXPECT_THAT(m_bodies, IsEmpty());
    setenv("XDG_STATE_HOME", At("full").c_str(), 1);
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit full{200, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &full);
    const Outcome unnoted = Call({"generate", "x", "-o", out});
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, before);
    EXPECT_EQ(unnoted.code, 1);
    EXPECT_THAT(unnoted.err, HasSubstr("full/orvantis/jobs/"));
    EXPECT_THAT(Support::GetNames(At("full/orvantis/jobs")), IsEmpty());
    setenv("XDG_STATE_HOME", At("state").c_str(), 1);
    MakeFile("state", "no folder");
    EXPECT_THAT(Testing::Run({"jobs"}).err, HasSubstr("cannot read the journal"));
    EXPECT_THAT(Call({"generate", "x", "-o", out}).err, HasSubstr("state"));
    setenv("XDG_STATE_HOME", "relative", 1);
    const std::string home = getenv("HOME") != nullptr ? getenv("HOME") : "";
    unsetenv("HOME");
    EXPECT_THAT(Call({"generate", "x", "-o", out}).err, HasSubstr("set XDG_STATE_HOME or HOME"));
    setenv("HOME", home.c_str(), 1);
    EXPECT_THAT(m_bodies, IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(out));
}

TEST_F(PictureCommands, CanBeEndedAndResumed) {
    const std::string object = MakeCutOut();
    const std::vector<std::string> commands[] = {
        {"generate", "canary", "cat", "-n", "2", "--access-token", "canary"},
        {"edit", m_photo, "canary", "--alpha", "as-input"},
        {"replace-object", m_photo, "canary", "--object", object},
    };
    for (std::vector<std::string> command : commands) {
        const std::string name = command.front();
        const bool isNumbered = name == "generate";
        command.insert(command.end(), {"-o", At(name + ".png")});
        m_raises = false;
        ASSERT_EQ(Call(command).code, 0) << name;
        std::map<std::string, std::string> whole;
        for (const std::string& number :
             isNumbered ? std::vector<std::string>{"-1", "-2"} : std::vector<std::string>{""}) {
            const std::string file = name + number + ".png";
            whole[file] = ReadPicture(file);
            std::filesystem::remove(At(file));
        }
        m_raises = true;
        m_polls = 0;
        m_bodies.clear();
        const Outcome outcome = Call(command);
        EXPECT_EQ(outcome.code, 130);
        const std::string advice =
            "\nlearning resume --service 127.0.0.1:" + std::to_string(m_server.GetPort()) +
            " --certificate '" + m_authority + "' J:1\n";
        EXPECT_THAT(outcome.err, AllOf(HasSubstr("learning: interrupted\n"), HasSubstr(advice)));
        EXPECT_FALSE(std::filesystem::exists(At(whole.begin()->first)));
        EXPECT_EQ(m_bodies.size(), 1U) << "sent once";

        ASSERT_EQ(GetJobs().size(), 1U);
        const std::filesystem::path entry = At("state/orvantis/jobs/" + *GetJobs().begin());
        using std::filesystem::perms;
        EXPECT_EQ(std::filesystem::status(entry).permissions(),
                  perms::owner_read | perms::owner_write);
        EXPECT_EQ(std::filesystem::status(entry.parent_path()).permissions(), perms::owner_all);
        EXPECT_THAT(Support::ReadFile(entry), Not(HasSubstr("canary")));
        EXPECT_THAT(Testing::Run({"jobs"}).out, AllOf(HasSubstr("J:1 "), HasSubstr(name + ' '),
                                                      HasSubstr(At(name + ".png\n"))));

        m_polls = 5;
        EXPECT_THAT(Call({"resume", "J:1"}).err, HasSubstr(advice)) << "is not ready yet";
        m_raises = false;
        EXPECT_THAT(Call({"resume", "J;1"}).err, HasSubstr("did you mean J:1?"));
        MakeFile(whole.begin()->first, "mine");
        EXPECT_THAT(Call({"resume", "J:1"}).err, HasSubstr("is there already"));
        std::filesystem::remove(At(whole.begin()->first));
        EXPECT_EQ(Call({"resume", "J:1"}).code, 0);
        for (const auto& [file, pixels] : whole) {
            EXPECT_TRUE(ReadPicture(file) == pixels) << file;
        }
        EXPECT_EQ(m_bodies.size(), 1U);
        EXPECT_THAT(GetJobs(), IsEmpty());
        EXPECT_THAT(Testing::Run({"jobs"}).out, HasSubstr("there are no jobs"));
    }
}

TEST_F(PictureCommands, KeepTheJobUntilItIsKnownToBeOver) {
    const struct {
        std::string accepted;
        std::string result;
        std::size_t jobs;
    } cases[] = {
        {R"({"error":"CREDITS_INSUFFICIENT"})", "", 0},
        {m_accepted, R"({"error":"GENERATION_REJECTED_MINORS"})", 0},
        {m_accepted, R"({"error":"CREDITS_COOLDOWN:9"})", 1},
        {m_accepted, "broken", 1},
    };
    for (const auto& [accepted, result, jobs] : cases) {
        m_accepted = accepted;
        m_result = result;
        const Outcome outcome = Call({"edit", m_photo, "x", "-o", At("out.png")});
        EXPECT_EQ(outcome.code, 1);
        EXPECT_EQ(GetJobs().size(), jobs) << result;
        EXPECT_EQ(outcome.err.find("learning resume") != std::string::npos, jobs == 1);
    }
    // The photo is another one now; then its result is to be elsewhere.
    m_result = R"({"images":[)" + Quote("a.png") + "]}";
    std::filesystem::rename(m_photo, At("kept.png"));
    std::filesystem::rename(MakePhoto(5, 5, [](int, int) { return Red; }), m_photo);
    EXPECT_THAT(Call({"resume", "J:1"}).err, HasSubstr("no longer 64 x 48 pixels"));
    std::filesystem::rename(At("kept.png"), m_photo);
    MakeFile("else.png", "");
    EXPECT_EQ(Call({"resume", "J:1", "-o", At("else.png")}).code, 2);
    EXPECT_EQ(Call({"resume", "J:1", "-o", At("else.png"), "--force"}).code, 0);
    EXPECT_EQ(Testing::GetPixel(Testing::LoadResult(At("else.png")), 5, 5), Green);

    // Fewer pictures than wanted.
    m_result = R"({"images":[]})";
    m_replies["textToImageAsync"] = R"({"generation_id":"-\u0000\u001b[1m it's"})";
    const Outcome none = Call({"generate", "x", "-o", At("out.png")});
    EXPECT_THAT(none.err, AllOf(HasSubstr(" -- '-??[1m it'\\''s'\n"), Not(HasSubstr("\x1b")),
                                HasSubstr("request.\n\nFailed requests")));
    EXPECT_THAT(Testing::Run({"jobs"}).out, HasSubstr("\n-??[1m it's "));
    EXPECT_EQ(Testing::Run({"jobs", "--forget=-??[1m it's"}).code, 0);
    EXPECT_THAT(GetJobs(), IsEmpty());
}

TEST_F(PictureCommands, KeepWhatACallHasFetchedBeforeItFails) {
    const std::string object = MakeCutOut();
    const std::string both = R"({"images":[)" + Quote("a.png") + R"(,"no address"]})";
    const struct {
        std::vector<std::string> command;
        std::string file;
        std::string reply;   // for all
        std::string second;  // for the second picture
    } cases[] = {
        {{"generate", "x", "-n", "2"}, "out-1.png", m_result, "<html>"},
        {{"edit", m_photo, "x"}, "out.png", both, ""},
        {{"replace-object", m_photo, "x", "--object", object}, "out.png", both, ""},
    };
    const std::string good = m_result;
    m_green = MakePNG(544, 544, [](int, int) { return Green; });
    for (auto [command, file, reply, second] : cases) {
        const std::string name = command.front();
        command.insert(command.end(), {"-o", At("out.png")});
        m_result = reply;
        m_second = second;
        const Outcome outcome = Call(command);
        EXPECT_EQ(outcome.code, 1) << name;
        EXPECT_THAT(outcome.err, HasSubstr("learning resume")) << name;
        ASSERT_EQ(Testing::GetPixel(Testing::LoadResult(At(file)), 25, 25), Green) << name;
        EXPECT_EQ(GetJobs().size(), 1U);
        m_result = good;
        m_second.clear();
        const std::string first = ReadOnly(file);
        EXPECT_EQ(Call({"resume", "J:1"}).code, 0) << name;
        EXPECT_TRUE(ReadOnly(file) == first) << name;
        std::filesystem::remove(At(file));
        const bool isNumbered = name == "generate";
        EXPECT_EQ(isNumbered, std::filesystem::remove(At("out-2.png")));
        EXPECT_THAT(GetFiles(), testing::IsSupersetOf({"blue.png", "object.png"}));
        EXPECT_THAT(GetFiles(), Not(testing::Contains(testing::StartsWith("out")))) << name;
    }
}

TEST_F(PictureCommands, ReplaceNothingThatHasComeWhileTheyWaited) {
    m_second = "<html>";
    ASSERT_EQ(Call({"generate", "x", "-n", "2", "-o", At("out.png")}).code, 1);
    m_second.clear();
    MakeFile("out-1.png", "mine");
    MakeFile("out-2.png", "mine, too");
    EXPECT_EQ(Call({"resume", "J:1"}).code, 0);
    EXPECT_EQ(ReadOnly("out-1.png") + ReadOnly("out-2.png"), "minemine, too");
    EXPECT_EQ(ReadPicture("out-1-2.png"), ReadPicture("out-2-2.png"));
    EXPECT_THAT(GetJobs(), IsEmpty());

    const auto getName = [this](int i) { return At(std::to_string(i)); };
    EXPECT_EQ(WriteNew(getName,
                       [this](Kernel::OutStream& stream) {
                           MakeFile("1", "mine");
                           stream.Write(std::as_bytes(std::span("new", 3)));
                           MakeFile("2", "mine");
                       }),
              At("3"));
    EXPECT_EQ(ReadOnly("1") + ReadOnly("2") + ReadOnly("3"),
              "minemine"
              "new");

    // What cannot be written can be had later.
    m_raises = true;
    ASSERT_EQ(Call({"generate", "x", "-o", At("gone/out.png")}).code, 1) << "no folder";
    std::filesystem::create_directory(At("gone"));
    ASSERT_EQ(Call({"generate", "x", "-o", At("gone/out.png")}).code, 130);
    m_raises = false;
    m_polls = 0;
    m_atPoll = [this] { std::filesystem::remove(At("gone")); };
    EXPECT_THAT(Call({"resume", "J:1"}).err,
                AllOf(HasSubstr("gone/out.png"), HasSubstr("learning resume")));
    EXPECT_EQ(GetJobs().size(), 1U);
}

TEST_F(PictureCommands, NameAndSkipDamagedEntries) {
    m_raises = true;
    ASSERT_EQ(Call({"edit", m_photo, "x", "-o", At("out.png")}).code, 130);
    const std::string folder = At("state/orvantis/jobs/");
    const std::string good = Support::ReadFile(folder + *GetJobs().begin());
    Value value = *Kernel::Json::Parse(good);
    const auto change = [&](const char* key, const Value& other) {
        Value changed = value;
        changed[key] = other;
        return std::string(std::string_view(Kernel::Json::ToString(changed)));
    };
    value.erase("job");
    const std::string jobless = change("x", 1);
    value["job"] = "J:1";
    std::filesystem::create_directory(folder + "folder.json");
    std::filesystem::create_symlink("/dev/zero", folder + "endless.json");
    const std::string damaged[] = {"",
                                   "{",
                                   good.substr(0, good.size() / 2),
                                   "[]",
                                   jobless,
                                   std::string(1 << 20, ' '),
                                   change("command", "rm"),
                                   change("command", 1),
                                   change("count", -1),
                                   change("count", 1.5),
                                   change("width", std::uint64_t{1} << 63),
                                   change("alpha", 4),
                                   change("begun", "yes"),
                                   change("time", std::int64_t{1} << 62),
                                   change("output", Kernel::String("a\0b", 3)),
                                   good};  // under another name
    int count = 2;
    for (const std::string& text : damaged) {
        Support::WriteFile(folder + std::to_string(count++) + ".json", text);
    }
    Support::WriteFile(folder + "orvantis-left", "not looked at");
    for (const auto& command : {std::vector<std::string>{"jobs"}, {"jobs", "--forget", "J:1"}}) {
        const Outcome outcome = Testing::Run(command);
        EXPECT_EQ(outcome.code, 0);
        EXPECT_EQ(std::ranges::count(outcome.err, '\n'), count) << outcome.err;
        EXPECT_THAT(outcome.out, HasSubstr("J:1"));
    }
    EXPECT_THAT(Testing::Run({"jobs"}).out, HasSubstr("there are no jobs"));
}

TEST_F(PictureCommands, RemoveBackgroundsOfMany) {
    m_replies["removeBackgroundInit"] = R"({"upload_id":"U","upload_url":)" + Quote("slot") + "}";
    m_replies["removeBackgroundComplete"] = R"({"download_url":)" + Quote("cut.zip") + "}";
    const std::string alpha = MakePNG(64, 48, [](int x, int) {
        return x < 32 ? std::array{255, 255, 255, 255} : std::array{0, 0, 0, 255};
    });
    m_archive = Support::MakeZip({{"color.jpg", m_green}, {"alpha.png", alpha}});
    const std::string other = MakePhoto(64, 48, [](int, int) { return Red; });
    const Outcome outcome =
        Call({"remove-background", m_photo, "none.png", other, "--output-folder", At("cut")});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.err, HasSubstr("1 of 3 photos failed"));
    EXPECT_EQ(Support::GetNames(At("cut")), (std::set<std::string>{"blue.png", "photo.png"}));
    const Photo cut = Testing::LoadResult(At("cut/blue.png"));
    EXPECT_EQ(Testing::GetPixel(cut, 5, 5), Green);
    EXPECT_EQ(Testing::GetPixel(cut, 50, 5)[3], 0);
    EXPECT_THAT(GetJobs(), IsEmpty());
    m_replies["removeBackgroundInit"] = R"({"error":"CREDITS_INSUFFICIENT"})";
    const std::size_t asked = m_bodies["removeBackgroundInit"].size();
    EXPECT_EQ(Call({"remove-background", m_photo, other, "-o", At("{}-new.png")}).code, 1);
    EXPECT_EQ(m_bodies["removeBackgroundInit"].size(), asked + 1) << "the next would fail, too";
}

TEST_F(PictureCommands, ReplaceTheObjectAndNothingElse) {
    const std::string object = MakeCutOut();
    m_green = MakePNG(544, 544, [](int, int) { return Green; });
    const std::vector<std::string> command{"replace-object", m_photo, "a",        "dog",
                                           "--object",       object,  "--expand", "-o"};
    std::vector<std::string> kept = command;
    std::erase(kept, "--expand");
    kept.push_back(At("kept.png"));
    EXPECT_EQ(Call(kept).code, 0);
    const Photo result = Testing::LoadResult(At("kept.png"));
    for (int y = 0; y < 48; ++y) {
        for (int x = 0; x < 64; ++x) {
            const bool isInside = x >= 20 && x < 30 && y >= 20 && y < 30;
            ASSERT_EQ(Testing::GetPixel(result, x, y), isInside ? Green : Blue) << x << ' ' << y;
        }
    }
    const Value plain = m_bodies["imageObjectReplacementAsync"].back();
    EXPECT_EQ(plain["expand"], false);
    EXPECT_EQ(plain["strength"], 1.0);
    std::vector<std::string> expanded = command;
    expanded.insert(expanded.end(), {At("whole.png"), "--prepare", "-n", "1"});
    EXPECT_EQ(Call(expanded).code, 0);
    EXPECT_EQ(Testing::GetPixel(Testing::LoadResult(At("whole.png")), 2, 2), Green);
    const Value& prepared = m_bodies["imageObjectReplacementAsync"].back();
    EXPECT_EQ(prepared["expand"], true);
    EXPECT_NE(prepared["image"], plain["image"]);
    EXPECT_EQ(prepared["mask"], plain["mask"]);
}

TEST(ObjectDocument, LetsWhatIsAroundGrowOverTheObject) {
    using Raster::DynamicBitmap;
    const auto paint = [](const Testing::Paint& colour) {
        auto picture = Kernel::MakeCounted<DynamicBitmap>(700, 600);
        const Raster::PixelView view = picture->GetHostView();
        for (int y = 0; y < 600; ++y) {
            for (int x = 0; x < 700; ++x) {
                std::ranges::transform(colour(x, y), view.At(x, y),
                                       [](int value) { return static_cast<std::byte>(value); });
            }
        }
        return picture;
    };
    const auto isObject = [](int x, int y) { return x >= 300 && x < 400 && y >= 250 && y < 350; };
    const auto photo = paint([&](int x, int y) {
        return isObject(x, y) ? Red : x < 350 ? Green : Blue;
    });
    const auto object = paint([&](int x, int y) {
        return isObject(x, y) ? Red : std::array{0, 0, 0, 0};
    });
    const ObjectDocument document(photo, object, false);
    auto region = Kernel::MakeCounted<DynamicBitmap>(512, 512);  // from (94, 44) on
    DynamicBitmap mask(512, 512, Raster::Format::Alpha8);
    for (int y = 206; y < 306; ++y) {
        std::fill_n(mask.GetHostView().At(206, y), 100, std::byte{255});
    }
    document.PrepareRegion(*region, mask);
    for (const auto& [x, y] : {std::pair(10, 10), {205, 256}, {255, 205}}) {
        EXPECT_EQ(Testing::GetPixel(region, x, y), Green) << x;
    }
    EXPECT_EQ(Testing::GetPixel(region, 306, 256), Blue);
    for (const int x : {206, 230, 256, 281, 305}) {
        const auto [red, green, blue, alpha] = Testing::GetPixel(region, x, 256);
        EXPECT_EQ(red, 0) << x;
        EXPECT_EQ(alpha, 255);
        EXPECT_NEAR(green + blue, 255, 2);
        EXPECT_EQ(green > blue, x < 256) << x;
    }
}

TEST_F(PictureCommands, ShowHowFarTheyAreOnATerminal) {
    for (const bool isQuiet : {false, true}) {
        std::ostringstream out;
        std::ostringstream err;
        std::vector<std::string> command{
            "--models", TEST_MODELS,   "generate", "x",
            "-o",       At("out.png"), "--force",  isQuiet ? "-q" : "--timing"};
        EXPECT_EQ(RunLearning(AddPlace(command), out, err, true), 0);
        if (isQuiet) {
            EXPECT_EQ(out.str() + err.str(), "");
            continue;
        }
        for (const char* const shown :
             {"generate [....", "0%  sending", "%  waiting", "%  polling 1 of 20", "%  downloading",
              "#] 100%", "\r\x1B[K"}) {
            EXPECT_THAT(err.str(), HasSubstr(shown));
        }
        EXPECT_THAT(out.str() + err.str(), AllOf(HasSubstr("wrote "), HasSubstr("\nrequest ")));
    }
}

/// Runs the program as a process of its own and kills it once `wait` returns.
void RunAndKill(const std::vector<std::string>& arguments, const std::function<void()>& wait) {
    std::vector<std::string> words{LEARNING_PROGRAM, "--models", TEST_MODELS, "-q"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    std::ranges::transform(words, std::back_inserter(pointers), [](auto& w) { return w.data(); });
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    EXPECT_EQ(posix_spawn(&child, LEARNING_PROGRAM, &files, nullptr, pointers.data(), environ), 0);
    posix_spawn_file_actions_destroy(&files);
    wait();
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

TEST_F(PictureCommands, PayOnceAndLoseNothingWhenKilled) {
    using namespace std::chrono_literals;
    using Clock = std::chrono::steady_clock;
    m_fast.reset();
    const auto start = Clock::now();
    RunAndKill(AddPlace({"edit", m_photo, "x", "-o", At("w.png")}), [&] {
        while (GetJobs().empty() && Clock::now() - start < 60s) {
            std::this_thread::sleep_for(1ms);
        }
    });
    const auto duration = 2 * (Clock::now() - start);
    ASSERT_EQ(Call({"resume", "J:1"}).code, 0);
    const std::string whole = ReadPicture("w.png");
    const int count = std::getenv("ORVANTIS_SOAK") != nullptr ? 1'000 : 16;
    int noted = 0;
    for (int i = 0; i < count; ++i) {
        const std::string id = "K" + std::to_string(i);
        const auto countSent = [&](bool isStart) {
            const std::lock_guard lock(m_mutex);
            m_accepted = R"({"generation_id":")" + id + "\"}";
            return isStart ? m_bodies.erase("imageEdit") : m_bodies["imageEdit"].size();
        };
        const auto sleep = [&](int step) {
            return [=] { std::this_thread::sleep_for(duration * step / count); };
        };
        countSent(true);
        std::filesystem::remove(At("out.png"));
        RunAndKill(AddPlace({"edit", m_photo, "x", "-o", At("out.png")}), sleep(i));
        EXPECT_LE(countSent(false), 1U);
        if (GetJobs().empty()) {  // was killed before it heard of the job
            continue;
        }
        ++noted;
        RunAndKill(AddPlace({"resume", id}), sleep(i * 7 % count));
        const int expected = GetJobs().empty() ? 2 : 0;  // nothing is left to be done, or all
        EXPECT_EQ(Call({"resume", id}).code, expected) << i;
        EXPECT_TRUE(ReadPicture("out.png") == whole) << i;
        EXPECT_THAT(GetJobs(), IsEmpty());
        EXPECT_EQ(countSent(false), 1U);
    }
    EXPECT_GT(noted, 0);
}

}  // namespace
}  // namespace LearningApp
