// Photos and results that come and go through pipes, and many photos at once.

#include "tests/LearningProgram.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <chrono>
#include <fstream>
#include <thread>

namespace LearningApp {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

class Pipes : public Testing::InFolder {
protected:
    void SetUp() override {
        MakePhoto(8, 6, [](int x, int y) { return std::array{x * 30, y * 40, 128, 255}; });
        ASSERT_EQ(Testing::Run({"depth", At("photo.png"), "-o", At("right.png")}).code, 0);
    }

    /// Runs a script in the folder, where $L is the program and its options.
    Testing::Outcome RunScript(const std::string& script) const {
        return Testing::RunShell("L='" LEARNING_PROGRAM " --models " TEST_MODELS "'; cd '" +
                                 At("") + "' && { " + script + "; }");
    }
};

TEST_F(Pipes, CarryPhotosAndResults) {
    const struct {
        const char* script;  // leaves the result in made.png
        const char* said;
    } cases[] = {
        {"cat photo.png | $L depth - -o made.png", "wrote made.png\n"},
        {"$L depth - -o - < photo.png 2> said > made.png; cat said",
         "wrote to the standard output\n"},
        {"$L depth photo.png -o - -q > made.png", ""},
        {"$L depth /dev/stdin -o /dev/stdout < photo.png 2> said | cat > made.png", ""},
        {"mkfifo in; cat photo.png > in & $L depth in -o made.png", "wrote made.png\n"},
        {"mkfifo out; cat out > made.png & $L depth photo.png -q -o out; wait; test -p out", ""},
        {"$L -q depth - --output-folder new < photo.png; mv new/photo.png made.png", ""},
    };
    for (const auto& [script, said] : cases) {
        const Testing::Outcome outcome = RunScript(script);
        EXPECT_EQ(outcome.code, 0) << script;
        EXPECT_EQ(outcome.out, said) << script;
        EXPECT_EQ(Support::ReadFile(At("made.png")), Support::ReadFile(At("right.png"))) << script;
        std::filesystem::remove(At("made.png"));
    }
}

TEST_F(Pipes, CarryArrays) {
    const std::string run = "$L run " TEST_MODELS "SuperResolution_2.6.onnx --output output:1x3x";
    const Testing::Outcome outcome = RunScript(
        run + "4x4=a.npy --input input=1x3x2x2:0.5 && " + run +
        "4x4=- --input input=1x3x2x2:0.5 2> said > b.npy && cat said && cmp a.npy b.npy && " +
        // What a pipe holds is told by its first bytes.
        run + "8x8=c.npy --input input=- < a.npy && " + run +
        "12x16=- -q --input input=- < photo.png | " + run + "24x32=d.npy --input input=-");
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.out, "wrote a.npy\nwrote to the standard output\nwrote c.npy\nwrote d.npy\n");
}

TEST_F(Pipes, FailWithAReason) {
    const struct {
        const char* script;
        const char* reason;
    } cases[] = {
        {"$L depth - -o made.png < /dev/null", "the photo the standard input: it is empty"},
        {"head -c 60 photo.png | $L depth - -o made.png", "the photo the standard input: "},
        {"$L depth photo.png -o /dev/full", "cannot write /dev/full: No space left on device"},
        {"$L depth photo.png -o - > /dev/full", "No space left on device"},
#ifndef __SANITIZE_THREAD__  // which writes a file before the program starts
        {"(ulimit -f 0; $L depth photo.png -o made.png)", "cannot write made.png: File too large"},
#endif
        {"$L run " TEST_MODELS "SuperResolution_2.6.onnx --input input=- --output output:1 "
         "< /dev/null",
         "it is empty"},
    };
    for (const auto& [script, reason] : cases) {
        const Testing::Outcome outcome = RunScript(script);
        EXPECT_EQ(outcome.code, 1) << script;
        EXPECT_THAT(outcome.out, HasSubstr(reason)) << script;
    }
    EXPECT_THAT(GetFiles(), ElementsAre("photo.png", "right.png"));
}

TEST_F(Pipes, AreReadWithSignsOfLifeOnATerminal) {
    const std::string pipe = At("slow");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const bool isQuiet : {false, true}) {
        std::thread writer([&] {
            const std::string photo = Support::ReadFile(At("photo.png"));
            std::ofstream stream(pipe, std::ios::binary);
            std::this_thread::sleep_for(std::chrono::milliseconds(1200));
            stream << photo;
        });
        std::ostringstream out;
        std::ostringstream err;
        const char* const verbosity = isQuiet ? "--quiet" : "--mode=cpu";
        EXPECT_EQ(
            RunLearning({"--models", TEST_MODELS, verbosity, "depth", pipe, "-o", At("x.png")}, out,
                        err, true),
            0);
        writer.join();
        EXPECT_EQ(err.str().find("| reading  0:01") != std::string::npos, !isQuiet) << err.str();
        EXPECT_EQ(err.str().empty(), isQuiet) << err.str();
    }
}

TEST_F(Pipes, AreNotNeededForManyPhotos) {
    std::filesystem::copy_file(At("photo.png"), At("other.PNG"));
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
