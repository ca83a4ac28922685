// What a journal meets on POSIX systems alone: limits on the size of files and on their names, an
// environment that names no folder, and links that anyone may make.

#include "Kernel/Environment.h"

#include "tests/WithPictureService.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <csignal>

namespace LearningApp {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using Testing::Outcome;

using PictureCommands = Testing::WithPictureService;

TEST_F(PictureCommands, AskForNothingThatCouldNotBeNoted) {
    const std::string out = At("out.png");
    SetStateFolder(At("full"));
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
    SetStateFolder(MakeFile("state", "no folder"));
    EXPECT_THAT(Testing::Run({"jobs"}).err, HasSubstr("cannot read the journal"));
    SetStateFolder("relative");
    const std::string home(std::string_view(Kernel::GetEnv("HOME").value_or(Kernel::String())));
    Support::SetEnvironment("HOME", std::nullopt);
    EXPECT_THAT(Call({"generate", "x", "-o", out}).err, HasSubstr("set XDG_STATE_HOME or HOME"));
    Support::SetEnvironment("HOME", home);
    SetStateFolder(At("state folder"));
    const std::string longName = At(std::string(252, 'x') + ".png");
    EXPECT_THAT(Call({"generate", "x", "-o", longName}).err, HasSubstr(".png: File name too long"));
    EXPECT_THAT(m_bodies, IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(out));
}

TEST_F(PictureCommands, SkipEntriesOfTheJournalThatNeverEnd) {
    const std::string folder = At("state/orvantis/jobs");
    std::filesystem::create_directories(folder);
    std::filesystem::create_symlink("/dev/zero", folder + "/endless.json");
    const Outcome outcome = Testing::Run({"jobs"});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_THAT(outcome.err, HasSubstr("endless.json is no entry"));
}

}  // namespace
}  // namespace LearningApp
