// Pipes and devices as POSIX has them: with names among files, and as a shell connects programs.

#include "tests/WithPipes.h"

#include <sys/stat.h>

#include <chrono>
#include <fstream>
#include <thread>

namespace LearningApp {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class NamedPipes : public Testing::WithPipes {
protected:
    /// Runs a script in the folder, where $L is the program and its options.
    Testing::Outcome RunScript(const std::string& script) const {
        return Support::RunProcess(
            {.line = "exec 2>&1; " + script,
             .environment = {{"LC_ALL", "C"}, {"L", LEARNING_PROGRAM " --models " TEST_MODELS}},
             .folder = At("")});
    }
};

TEST_F(NamedPipes, CarryPhotosAndResults) {
    const struct {
        const char* script;  // leaves the result in made.png
        const char* said;
    } cases[] = {
        {"cat photo.png | $L depth - -o made.png", "wrote made.png\n"},
        {"$L depth photo.png -o - -q > made.png", ""},
        {"$L depth /dev/stdin -o /dev/stdout < photo.png 2> said | cat > made.png", ""},
        {"mkfifo in; cat photo.png > in & $L depth in -o made.png", "wrote made.png\n"},
        {"mkfifo out; cat out > made.png & $L depth photo.png -q -o out; wait; test -p out", ""},
    };
    for (const auto& [script, said] : cases) {
        const Testing::Outcome outcome = RunScript(script);
        EXPECT_EQ(outcome.code, 0) << script;
        EXPECT_EQ(outcome.out, said) << script;
        EXPECT_EQ(Support::ReadFile(At("made.png")), Support::ReadFile(At("right.png"))) << script;
        std::filesystem::remove(At("made.png"));
    }
}

TEST_F(NamedPipes, FailWithAReason) {
    const struct {
        const char* script;
        const char* reason;
    } cases[] = {
        {"$L depth photo.png -o /dev/full", "cannot write /dev/full: No space left on device"},
        {"$L depth photo.png -o - > /dev/full", "No space left on device"},
#ifndef __SANITIZE_THREAD__  // which writes a file before the program starts
        {"said=$( (ulimit -f 0; $L depth photo.png -o made.png) 2>&1); code=$?; echo $said; exit "
         "$code",
         "cannot write made.png: File too large"},
#endif
    };
    for (const auto& [script, reason] : cases) {
        const Testing::Outcome outcome = RunScript(script);
        EXPECT_EQ(outcome.code, 1) << script;
        EXPECT_THAT(outcome.out, HasSubstr(reason)) << script;
    }
    EXPECT_THAT(GetFiles(), ElementsAre("photo.png", "right.png"));
}

TEST_F(NamedPipes, AreReadWithSignsOfLifeOnATerminal) {
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

}  // namespace
}  // namespace LearningApp
