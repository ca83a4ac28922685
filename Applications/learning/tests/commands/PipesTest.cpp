// Photos and results that come and go through the standard streams, and many photos at once.

#include "tests/WithPipes.h"

namespace LearningApp {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

using Pipes = Testing::WithPipes;

TEST_F(Pipes, AreTheStandardStreams) {
    const std::string photo = ReadFile("photo.png");
    const std::string right = ReadFile("right.png");
    const auto run = [&](const std::vector<std::string>& arguments, const std::string& input) {
        std::vector<std::string> all{"--models", TEST_MODELS};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return Testing::RunProgram(all, {.folder = At(""), .input = input});
    };
    const Testing::Outcome through = run({"depth", "-", "-o", "-"}, photo);
    EXPECT_EQ(through.code, 0);
    EXPECT_TRUE(through.err.starts_with("wrote to the standard output\n")) << through.err;
    EXPECT_TRUE(through.out == right);
    EXPECT_EQ(run({"-q", "depth", "-", "--output-folder", "new"}, photo).out, "");
    EXPECT_TRUE(ReadFile("new/photo.png") == right);
    for (const auto& [input, reason] : {std::pair{std::string(), "it is empty"},
                                        {photo.substr(0, 60), "the photo the standard input: "}}) {
        const Testing::Outcome failed = run({"depth", "-", "-o", "made.png"}, input);
        EXPECT_EQ(failed.code, 1);
        EXPECT_THAT(failed.err, HasSubstr(reason));
    }

    const std::string shape = "output:1x3x";
    const std::vector<std::string> command{"run", TEST_MODELS "SuperResolution_2.6.onnx"};
    const auto enlarge = [&](const std::string& source, const std::string& target,
                             const std::string& input = "") {
        return run({command[0], command[1], "-q", "--input", "input=" + source, "--output",
                    shape + target},
                   input);
    };
    ASSERT_EQ(enlarge("1x3x2x2:0.5", "4x4=a.npy").code, 0);
    const std::string array = ReadFile("a.npy");
    EXPECT_TRUE(enlarge("1x3x2x2:0.5", "4x4=-").out == array);
    // What a pipe holds is told by its first bytes.
    EXPECT_EQ(enlarge("-", "8x8=c.npy", array).code, 0);
    EXPECT_EQ(enlarge("-", "12x16=c.npy", photo).code, 0);
    EXPECT_THAT(enlarge("-", "1", "").err, HasSubstr("it is empty"));
    EXPECT_THAT(GetFiles(), ElementsAre("a.npy", "c.npy", "new", "photo.png", "right.png"));
}

TEST_F(Pipes, AreNotNeededForManyPhotos) {
    Support::DuplicateFile(At("photo.png"), At("other.PNG"));
    MakeFile("letter.jpg", "Dear all, this is no photo.");
    std::vector<std::string> arguments{"depth",         At("letter.jpg"),  At("photo.png"),
                                       At("other.PNG"), "--output-folder", At("deep/down")};
    const Testing::Outcome some = Testing::Run(arguments);
    EXPECT_EQ(some.code, 1);
    EXPECT_EQ(some.out,
              "wrote " + At("deep/down/photo.png") + "\nwrote " + At("deep/down/other.png") + '\n');
    EXPECT_THAT(some.err, AllOf(HasSubstr("letter.jpg: the data is no JPEG"),
                                EndsWith("learning: 1 of 3 photos failed\n")));
    EXPECT_THAT(Support::GetNames(At("deep/down")), ElementsAre("other.png", "photo.png"));

    const Testing::Outcome all = Testing::Run(
        {"depth", At("photo.png"), At("other.PNG"), "-o", At("{}-{}.png"), "--timing"});
    EXPECT_EQ(all.code, 0);
    EXPECT_THAT(all.out, EndsWith("all 2 photos are done\n"));
    EXPECT_EQ(Support::ReadFile(At("other-other.png")), Support::ReadFile(At("right.png")));

    // What fails for all of them is told once.
    arguments.insert(arguments.begin(), {"--models", At("")});
    const Testing::Outcome none = Testing::RunBare(arguments);
    EXPECT_EQ(none.code, 1);
    EXPECT_THAT(none.err, AllOf(HasSubstr("is not installed"), Not(HasSubstr("photos failed"))));
}

}  // namespace
}  // namespace LearningApp
