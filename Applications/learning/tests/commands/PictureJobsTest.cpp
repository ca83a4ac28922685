// Jobs of the inference service: their journal, what outlives a command, and what is resumed.

#include "Kernel/FileSystem.h"

#include "journal/JobJournal.h"
#include "terminal/ShellWords.h"
#include "tests/WithPictureService.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>

namespace LearningApp {
namespace {

using Kernel::Json::Value;
using Support::ToPath;
using testing::AllOf;
using testing::EndsWith;
using Testing::Green;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Testing::Outcome;
using Testing::Red;

using PictureJobs = Testing::WithPictureService;

TEST_F(PictureJobs, CanBeEndedAndResumed) {
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
            std::filesystem::remove(ToPath(At(file)));
        }
        m_raises = true;
        m_polls = 0;
        m_bodies.clear();
        const std::filesystem::path folder = std::filesystem::current_path();
        std::filesystem::current_path(ToPath(At("")));
        const std::string authority = std::exchange(m_authority, "authority.pem");
        const Outcome outcome = Call(command);
        m_authority = authority;
        std::filesystem::current_path(folder);
        EXPECT_EQ(outcome.code, 130);
        const std::string advice =
            "\nlearning resume --service 127.0.0.1:" + std::to_string(m_server.GetPort()) +
            " --certificate " + QuoteForShell(m_authority) + " J:1\n";
        EXPECT_THAT(outcome.err, AllOf(HasSubstr("learning: interrupted\nThe service has accepted "
                                                 "it as a job."),
                                       EndsWith(advice)));
        EXPECT_FALSE(std::filesystem::exists(ToPath(At(whole.begin()->first))));
        EXPECT_EQ(m_bodies.size(), 1U) << "sent once";

        ASSERT_EQ(GetJobs().size(), 1U);
        const std::string entry = At("state/orvantis/jobs/" + *GetJobs().begin());
        EXPECT_TRUE(Kernel::FileSystem::IsOwnersAlone(entry));
        EXPECT_TRUE(Kernel::FileSystem::IsOwnersAlone(At("state/orvantis/jobs")));
        EXPECT_THAT(Support::ReadFile(entry), Not(HasSubstr("canary")));
        EXPECT_THAT(Testing::Run({"jobs"}).out, AllOf(HasSubstr("J:1 "), HasSubstr(name + ' '),
                                                      HasSubstr(At(name + ".png\n"))));

        m_polls = 5;
        EXPECT_THAT(Call({"resume", "J:1"}).err, HasSubstr(advice)) << "is not ready yet";
        m_raises = false;
        EXPECT_THAT(Call({"resume", "J;1"}).err, HasSubstr("did you mean J:1?"));
        MakeFile(whole.begin()->first, "mine");
        EXPECT_THAT(Call({"resume", "J:1"}).err, HasSubstr("is there already"));
        std::filesystem::remove(ToPath(At(whole.begin()->first)));
        EXPECT_EQ(Call({"resume", "J:1"}).code, 0);
        for (const auto& [file, pixels] : whole) {
            EXPECT_TRUE(ReadPicture(file) == pixels) << file;
        }
        EXPECT_EQ(m_bodies.size(), 1U);
        EXPECT_THAT(GetJobs(), IsEmpty());
        EXPECT_THAT(Testing::Run({"jobs"}).out, HasSubstr("there are no jobs"));
    }
}

TEST_F(PictureJobs, MayExistWhereTheAnswerHasNotCome) {
    const std::string object = MakeCutOut();
    const std::string slot = R"({"upload_id":"U","upload_url":)" + Quote("slot") + "}";
    const std::string link = R"({"download_url":)" + Quote("cut.zip") + "}";
    const struct {
        std::vector<std::string> command;
        std::map<std::string, std::string> replies;  // an empty one: is ended instead
        const char* said;
    } cases[] = {
        {{"generate", "x"}, {{"textToImageAsync", ""}}, "may have"},
        {{"edit", m_photo, "x"}, {{"imageEdit", ""}}, "may have"},
        {{"replace-object", m_photo, "x", "--object", object},
         {{"imageObjectReplacementAsync", ""}},
         "may have"},
        {{"remove-background", m_photo}, {{"removeBackgroundInit", ""}}, "may have"},
        {{"remove-background", m_photo},
         {{"removeBackgroundInit", slot}, {"removeBackgroundComplete", ""}},
         "may have"},
        {{"remove-background", m_photo},
         {{"removeBackgroundInit", slot}, {"removeBackgroundComplete", link}},
         "has"},
    };
    m_atFetch = [] { Testing::InterruptSelf(Support::Ending::Terminate); };
    for (auto [command, replies, said] : cases) {
        m_replies = replies;
        command.insert(command.end(), {"-o", At("out.png")});
        const Outcome outcome = Call(command);
        EXPECT_EQ(outcome.code, 130) << command.front();
        EXPECT_EQ(outcome.err,
                  std::string("learning: interrupted\nThe service ") + said +
                      " accepted the request, and may charge for it. No job is noted that could\n"
                      "be resumed: the command, repeated, is another request.\n");
        EXPECT_THAT(GetJobs(), IsEmpty());
    }
}

TEST_F(PictureJobs, KeepTheJobUntilItIsKnownToBeOver) {
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
    std::filesystem::rename(ToPath(m_photo), ToPath(At("kept.png")));
    std::filesystem::rename(ToPath(MakePhoto(5, 5, [](int, int) { return Red; })), ToPath(m_photo));
    EXPECT_THAT(Call({"resume", "J:1"}).err, HasSubstr("no longer 64 x 48 pixels"));
    std::filesystem::rename(ToPath(At("kept.png")), ToPath(m_photo));
    MakeFile("else.png", "");
    EXPECT_EQ(Call({"resume", "J:1", "-o", At("else.png")}).code, 2);
    EXPECT_EQ(Call({"resume", "J:1", "-o", At("else.png"), "--force"}).code, 0);
    EXPECT_EQ(Testing::GetPixel(Testing::LoadResult(At("else.png")), 5, 5), Green);

    // Fewer pictures than wanted.
    m_result = R"({"images":[]})";
    m_replies["textToImageAsync"] = R"({"generation_id":"-\u0000\u001b[1m it's"})";
    const Outcome none = Call({"generate", "x", "-o", At("out.png")});
    EXPECT_THAT(none.err, AllOf(HasSubstr(" -- " + QuoteForShell("-??[1m it's") + '\n'),
                                Not(HasSubstr("\x1b")), HasSubstr("request.\n\nFailed requests")));
    EXPECT_THAT(Testing::Run({"jobs"}).out, HasSubstr("\n-??[1m it's "));
    EXPECT_EQ(Testing::Run({"jobs", "--forget=-??[1m it's"}).code, 0);
    EXPECT_THAT(GetJobs(), IsEmpty());
}

TEST_F(PictureJobs, KeepWhatACallHasFetchedBeforeItFails) {
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
        std::filesystem::remove(ToPath(At(file)));
        const bool isNumbered = name == "generate";
        EXPECT_EQ(isNumbered, std::filesystem::remove(ToPath(At("out-2.png"))));
        EXPECT_THAT(GetFiles(), testing::IsSupersetOf({"blue.png", "object.png"}));
        EXPECT_THAT(GetFiles(), Not(testing::Contains(testing::StartsWith("out")))) << name;
    }
}

TEST_F(PictureJobs, ReplaceNothingThatHasComeWhileTheyWaited) {
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
    std::filesystem::create_directory(ToPath(At("gone")));
    ASSERT_EQ(Call({"generate", "x", "-o", At("gone/out.png")}).code, 130);
    m_raises = false;
    m_atFetch = [this] { std::filesystem::remove(ToPath(At("gone"))); };
    EXPECT_THAT(Call({"resume", "J:1"}).err,
                AllOf(HasSubstr("gone/out.png"), HasSubstr("learning resume")));
    EXPECT_EQ(GetJobs().size(), 1U);
}

TEST_F(PictureJobs, NameAndSkipDamagedEntries) {
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
    std::filesystem::create_directory(ToPath(folder + "folder.json"));
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
    int count = 1;
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

/// Runs the program as a process of its own and kills it once `wait` returns.
void RunAndKill(const std::vector<std::string>& arguments, const std::function<void()>& wait) {
    std::vector<std::string> words{LEARNING_PROGRAM, "--models", TEST_MODELS, "-q"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const Support::Process process({.words = words});
    wait();
}

TEST_F(PictureJobs, PayOnceAndLoseNothingWhenKilled) {
    using namespace std::chrono_literals;
    m_fast.reset();
    const auto waitForJob = [this] {
        const auto start = std::chrono::steady_clock::now();
        while (GetJobs().empty() && std::chrono::steady_clock::now() - start < 60s) {
            std::this_thread::sleep_for(1ms);
        }
    };
    const auto start = std::chrono::steady_clock::now();
    RunAndKill(AddPlace({"edit", m_photo, "x", "-o", At("w.png")}), waitForJob);
    const auto duration = 2 * (std::chrono::steady_clock::now() - start);
    ASSERT_EQ(Call({"resume", "J:1"}).code, 0);
    const std::string whole = ReadPicture("w.png");
    const int count = std::getenv("ORVANTIS_SOAK") != nullptr ? 1'000 : 16;
    for (int i = 0; i < count; ++i) {
        const std::string id = "K" + std::to_string(i);
        // By the prompt, since the request of one that was killed may still be on its way.
        const auto countSent = [&] {
            const std::lock_guard lock(m_mutex);
            return std::ranges::count_if(m_bodies["imageEdit"], [&](const Value& body) {
                return std::string_view(Kernel::Json::ToString(body)).find('"' + id + '"') !=
                       std::string_view::npos;
            });
        };
        const auto sleep = [&](int step) {
            return [=] { std::this_thread::sleep_for(duration * step / count); };
        };
        {
            const std::lock_guard lock(m_mutex);
            m_accepted = R"({"generation_id":")" + id + "\"}";
        }
        std::filesystem::remove(ToPath(At("out.png")));
        const std::function<void()> untilKilled = sleep(i);
        const bool isLast = i + 1 == count;
        RunAndKill(AddPlace({"edit", m_photo, id, "-o", At("out.png")}),
                   isLast ? waitForJob : untilKilled);
        EXPECT_LE(countSent(), 1);
        if (GetJobs().empty()) {  // was killed before it heard of the job
            EXPECT_FALSE(isLast);
            continue;
        }
        RunAndKill(AddPlace({"resume", id}), sleep(i * 7 % count));
        const int expected = GetJobs().empty() ? 2 : 0;  // nothing is left to be done, or all
        EXPECT_EQ(Call({"resume", id}).code, expected) << i;
        EXPECT_TRUE(ReadPicture("out.png") == whole) << i;
        EXPECT_THAT(GetJobs(), IsEmpty());
        EXPECT_EQ(countSent(), 1);
    }
}

}  // namespace
}  // namespace LearningApp
