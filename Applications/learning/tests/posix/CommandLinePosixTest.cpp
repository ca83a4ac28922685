// What only POSIX systems have: links that anyone may make, pipes and devices among files, and
// names that are no text.

#include "tests/LearningProgram.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace LearningApp {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using Testing::Outcome;
using testing::StartsWith;

using CommandLine = Testing::WithGreyPhoto;

TEST_F(CommandLine, KnowsOneFileByItsLinks) {
    const std::string photo = MakeGreyPhoto();
    const std::string model = TEST_MODELS "SuperResolution_2.6.onnx";
    const std::string link = At("link.png");
    std::filesystem::create_symlink("photo.png", link);
    std::filesystem::create_symlink(".", At("here"));
    std::filesystem::create_hard_link(photo, At("twin.png"));
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"depth", photo, link, "--output-folder", At("")}, "would replace the photo"},
        {{"colourise", At("twin.png"), "-o", photo}, "would replace the photo"},
        {{"depth", photo, At("here/photo.jpg"), "-o", At("{}2.png")}, "would both be"},
        {{"run", model, "--output", "a:1=" + At("here/a.npy"), "--output", "b:1=" + At("a.npy")},
         "would take the place of"},
        {{"run", model, "--input", "x=" + link, "--output", "a:8x8=" + photo}, "the place of"},
        {{"run", At("here/n.npy"), "--output", "a:8=" + At("n.npy")}, "would take the place of"},
    };
    for (const auto& [arguments, message] : cases) {
        const Outcome outcome = Testing::Run(arguments);
        EXPECT_EQ(outcome.code, 2) << message;
        EXPECT_THAT(outcome.err, AllOf(StartsWith("learning: "), HasSubstr(message)));
    }
}

TEST_F(CommandLine, RefusesWhatIsNoFile) {
    const std::string photo = MakeGreyPhoto();
    const std::string pipe = At("pipe.npy");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::pair<std::vector<std::string>, std::vector<std::string>> cases[] = {
        {{"depth", photo, "-o", "/proc/x.png"}, {"cannot write /proc/x.png"}},
        {{"run", pipe, "--output", "y:1"}, {pipe, "a pipe or a device"}},
        {{"run", "/dev/zero", "--output", "y:1"}, {"/dev/zero", "a pipe or a device"}},
    };
    for (const auto& [arguments, messages] : cases) {
        const Outcome outcome = Testing::Run(arguments);
        EXPECT_EQ(outcome.code, 1) << outcome.err;
        for (const std::string& message : messages) {
            EXPECT_THAT(outcome.err, HasSubstr(message));
        }
    }
}

TEST_F(CommandLine, OpensNamesOfAnyBytesAndShowsThemAsText) {
    std::filesystem::rename(MakeGreyPhoto(), At("\xFF\x1B.png"));
    const Outcome outcome = Testing::Run({"depth", At("\xFF\x1B.png"), "-o", At("\xFE.png")});
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("\xEF\xBF\xBD.png"));
    EXPECT_THAT(GetFiles(), testing::UnorderedElementsAre("\xFF\x1B.png", "\xFE.png"));

    const Outcome failure = Testing::Run({"depth", At("\xFF\x1B.jpg"), "-o", At("x.png")});
    EXPECT_THAT(failure.err, HasSubstr("\xEF\xBF\xBD?.jpg"));
}

}  // namespace
}  // namespace LearningApp
