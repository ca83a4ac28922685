#include "Kernel/IoException.h"

#include "terminal/ShellWords.h"
#include "tests/LearningProgram.h"

#include <gmock/gmock.h>

#include <chrono>
#include <sstream>
#include <system_error>

namespace LearningApp {
namespace {

using Support::DuplicateFile;
using Support::ToPath;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using Testing::Outcome;
using Testing::RunBare;
using testing::StartsWith;

using CommandLine = Testing::WithGreyPhoto;

TEST_F(CommandLine, TellsWrongUseFromTheRightOne) {
    const std::string photo = MakeGreyPhoto();
    const std::string result = At("result.png");
    const std::string model = TEST_MODELS "SuperResolution_2.6.onnx";
    const std::string shape = "output:1x3x2x2";
    const struct {
        std::vector<std::string> arguments;
        const char* message;
    } cases[] = {
        {{}, "a command is needed"},
        {{"paint", photo, "-o", result}, "there is no command paint\n"},
        {{"dpeth", photo, "-o", result}, "no command dpeth; did you mean depth?\n"},
        {{"colurize", photo, "-o", result}, "no command colurize; did you mean colorize?\n"},
        {{"help", "super"}, "no command super; did you mean super-resolve?\n"},
        {{"depth", photo, "--ouput=" + result}, "no option --ouput; did you mean --output?\n"},
        {{"segment", photo, "--AT", "1,1"}, "no option --AT; did you mean --at?\n"},
        {{"run", "--inputs", "x", model}, "no option --inputs; did you mean --input?\n"},
        {{"models", "--serve", "x"}, "no option --serve; did you mean --server?\n"},
        {{"--session", "s", "ask", "x"},
         "an option of ask: it comes after that word\nRun learning ask "},
        {{"--verb", "models"}, "no option --verb; did you mean --verbose?\n"},
        {{"models", "--nonsense"}, "no option --nonsense\nRun learning models --help."},
        {{"depth", photo, "-x", "-o", result}, "no option -x\n"},
        {{"models", "one", "two", "three"}, "unexpected arguments: one two three\n"},
        {{"describe", "net.onnx", "more"}, "unexpected argument: more\n"},
        {{"download", "depht"}, "no network depht; did you mean depth?\nThe names are depth, "},
        {{"--mode", "quantum"},
         "quantum not in {cpu,efficiency,performance}\nRun learning --help."},
        {{"depth", photo}, "add -o OUT.png or --output-folder DIR"},
        {{"depth", photo, "-o", result, "--output-folder", "x"}, "contradict"},
        {{"depth", photo, photo, "-o", result}, "2 photos do not fit into"},
        {{"depth", photo, photo, "--output-folder", At("")}, "would replace the photo"},
        {{"depth", photo, "-o", At("./photo.png")}, "would replace the photo"},
        {{"depth", photo, At("./photo.jpg"), "-o", At("{}2.png")}, "would both be"},
        {{"--quiet", "--verbose", "models"}, "contradict"},
        {{"depth", "-o", result}, "PHOTO is required\nRun learning depth --help."},
        {{"depth", photo, "-o", At("result.jpg")}, "result.jpg end in .png"},
        {{"segment", photo, "-o", result}, "--at is required"},
        {{"segment", photo, "--at", "3", "4", "-o", result}, "--at: 3 is not a point"},
        {{"segment", photo, "--at", "3,2,1", "-o", result}, "3,2,1 is not a point"},
        {{"segment", photo, "--at", "nan,2", "-o", result}, "outside the photo"},
        {{"segment", photo, "--at", "8,2", "-o", result},
         "8,2 is outside the photo, which is 8 x 6"},
        {{"segment", photo, "--at", "1,1", "--not", "1,-1", "-o", result}, "outside the photo"},
        {{"segment", photo, "--at", "1,1", "--show", "all", "-o", result}, "all"},
        {{"run", model, "--input", "input", "--output", shape}, "write NAME=SOURCE"},
        {{"run", model, "--input", "=1x2:1,2", "--output", shape}, "write NAME=SOURCE"},
        {{"run", model, "--input", "input=photo.gif", "--output", shape}, "a source is"},
        {{"run", model, "--input", "input=1x2:1,2,3", "--output", shape}, "3 values do not fill"},
        {{"run", model, "--input", "input=1x3:1,2", "--output", shape}, "2 values do not fill"},
        {{"run", model, "--input", "input=1x2:1,", "--output", shape}, "is not a number"},
        {{"run", model, "--input", "x=1:0", "--input", "x=1:1", "--output", shape}, "x=1:1"},
        {{"run", model, "--output", shape, "--output", shape}, "asked for already"},
        {{"run", model, "--output", "output:3000000000"}, "3000000000 is out of range"},
        {{"run", model, "--output", ":1x2"}, "write NAME or NAME:SHAPE"},
        {{"run", model, "--output", "output:1xtwo"}, "two is not a number"},
        {{"run", model, "--output", "output:0x3"}, "output:0x3 has a dimension of 0"},
        {{"run", model, "--input", "x=99999x99999:0", "--output", shape}, "more than 268435456"},
        {{"run", model, "--output", "a:1=" + At("a.npy"), "--output", "b:1=" + At("./a.npy")},
         "would take the place of"},
        {{"run", model, "--output", "output:1x2=" + At("x.txt")}, "not in"},
        {{"run", model, "--output", "output:1x2x8x8=" + result},
         "no picture of 1, 3 or 4 channels"},
        {{"run", model, "--output", "output:1x1x1x8x8=" + result},
         "no picture of 1, 3 or 4 channels"},
        {{"run", model, "--output", "output:8=" + result}, "no picture of 1, 3 or 4 channels"},
        {{"run", model, "--output", "output:=" + result}, "shape scalar is no picture"},
    };
    for (const auto& [arguments, message] : cases) {
        const Outcome outcome = Testing::Run(arguments);
        EXPECT_EQ(outcome.code, 2) << message;
        EXPECT_THAT(outcome.err, AllOf(StartsWith("learning: "), HasSubstr(message)));
        EXPECT_EQ(outcome.out, "");
    }
    EXPECT_THAT(GetFiles(), ElementsAre("photo.png"));
}

TEST_F(CommandLine, HelpsWithEveryCommand) {
    EXPECT_EQ(RunBare({"--version"}).code, 0);
    EXPECT_THAT(RunBare({"--help"}).out, HasSubstr("super-resolve"));
    std::ostream closed(nullptr);
    std::ostringstream err;
    EXPECT_EQ(RunLearning({"--help"}, closed, err), 1);
    for (const char* const command :
         {"models", "describe", "download", "delete", "segment", "depth", "colourise",
          "super-resolve", "run", "generate", "edit", "remove-background", "replace-object", "jobs",
          "resume", "help"}) {
        const Outcome outcome = RunBare({command, "--help"});
        EXPECT_EQ(outcome.code, 0);
        EXPECT_THAT(outcome.out, AllOf(HasSubstr(std::string("Example: learning ") + command),
                                       HasSubstr("Global options:\n  --models,--cache DIR")));
        EXPECT_EQ(RunBare({"help", command}).out, outcome.out);
    }
    EXPECT_EQ(RunBare({"help"}).out, RunBare({"--help"}).out);
    for (const char* const spelling : {"colorize", "colourize", "colorise"}) {
        EXPECT_EQ(RunBare({spelling, "--help"}).out, RunBare({"colourise", "--help"}).out);
    }
}

TEST_F(CommandLine, ListsWhatIsInstalledAndWhatItRunsOn) {
    MakeFile("Colourisation_2.6.onnx", "");
    std::filesystem::create_directory(ToPath(At("DepthEstimation_2.6.onnx")));
    MakeFile("SegmentationEncoder_3.2.onnx", "no network");
    DuplicateFile(TEST_MODELS "SuperResolution_2.6.onnx", At("SuperResolution_3.2.onnx"));
    const auto time =
        std::chrono::sys_days(std::chrono::year(2001) / 2 / 3) + std::chrono::seconds(4 * 3600);
    std::filesystem::last_write_time(ToPath(At("SegmentationEncoder_3.2.onnx")),
                                     std::chrono::file_clock::from_sys(time));
    const Outcome outcome = RunBare({"models", "--models", At("")});
    EXPECT_EQ(outcome.code, 0);
    for (const char* const line :
         {"Colourisation +all .*empty +- +- +- +.*/.*Colourisation_2.6.onnx",
          "DepthEstimation .*folder +- +- +- .*DepthEstimation_2.6",
          "SuperResolution +cpu .*no +- ",
          "accelerated +SegmentationEncoder_3.2 +yes +none +10 B +2001-02-03 ",
          "accelerated +SuperResolution_3.2 +yes +CPU "}) {
        EXPECT_THAT(outcome.out, testing::ContainsRegex(line));
    }
    EXPECT_THAT(
        RunBare({"models", "--json", "--models", At("")}).out,
        AllOf(StartsWith(R"([{"type": "SegmentationEncoder", "mode": "cpu", "package": )"
                         R"("SegmentationEncoder_2.6", "state": "missing", "device": null, )"
                         R"("bytes": null, "modified": null, "file": ")" +
                         At("SegmentationEncoder_2.6.onnx") + "\"}, {"),
              HasSubstr(R"("state": "installed", "device": null, "bytes": 10, )"
                        R"("modified": "2001-02-03T04:00:00Z")"),
              HasSubstr(R"("state": "empty")"), HasSubstr(R"("state": "folder")"),
              HasSubstr(R"("device": "CPU")")));
}

TEST_F(CommandLine, TellsWhatRunsOnTheCPUAgainstTheWish) {
    const std::string photo = MakeGreyPhoto();
    DuplicateFile(TEST_MODELS "SuperResolution_2.6.onnx", At("SuperResolution_3.2.onnx"));
    for (const char* const mode : {"cpu", "performance", "efficiency"}) {
        const std::string models = mode == std::string("cpu") ? TEST_MODELS : At("");
        const Outcome outcome = RunBare(
            {"--models", models, "--mode", mode, "super-resolve", photo, "-o", At("large.png")});
        EXPECT_EQ(outcome.code, 0) << outcome.err;
        EXPECT_EQ(
            outcome.err.find("SuperResolution_3.2.onnx runs on the CPU\n") != std::string::npos,
            mode != std::string("cpu"));
    }
}

TEST_F(CommandLine, TellsWhatTheLibraryDoesIfItIsAskedTo) {
    const std::string photo = MakeGreyPhoto();
    const std::vector<std::string> command{"super-resolve", photo, "-o", At("large.png")};
    EXPECT_EQ(Testing::Run(command).err, "");
    std::vector<std::string> verbose = command;
    verbose.insert(verbose.begin(), "--verbose");
    EXPECT_THAT(Testing::Run(verbose).err,
                AllOf(HasSubstr("Model cache is: " TEST_MODELS),
                      HasSubstr("SuperResolution_2.6.onnx, which runs by CPU")));
    const Outcome failed = Testing::RunBare({"--verbose", "run", photo, "--output", "y:1"});
    EXPECT_THAT(failed.err, HasSubstr("[ONNX Runtime] Error"));
}

TEST_F(CommandLine, ShowsWhereTheTimeGoes) {
    const Outcome outcome =
        Testing::Run({"--timing", "super-resolve", MakeGreyPhoto(), "-o", At("large.png")});
    std::istringstream table(outcome.err);
    std::string name;
    double time = -1;
    std::vector<std::string> names;
    double sum = 0;
    table >> name >> name;  // the head
    for (int row = 0; row < 7 && table >> name >> time; ++row) {
        names.push_back(name);
        EXPECT_GE(time, 0) << name;
        sum += name == "total" ? 0 : time;
    }
    EXPECT_THAT(names, ElementsAre("start", "decode", "open", "run", "encode", "other", "total"));
    EXPECT_GE(sum, time - 0.5);  // decoding and opening overlap, and each row is rounded
    EXPECT_THAT(outcome.err, HasSubstr("MB at its peak"));
}

TEST_F(CommandLine, FailsWithTheFileAndTheReason) {
    const std::string photo = MakeGreyPhoto();
    const std::string text = MakeFile("letter.jpg", "Dear all, this is no photo.");
    const std::string cut = MakeFile("cut.png", "\x89PNG\r\n\x1A\n and then no more");
    const std::string bad = MakeFile("SuperResolution_2.6.onnx", "no network");
    const std::string result = At("result.png");
    std::filesystem::create_directory(ToPath(At("folder.png")));
    // What an earlier command has loaded must not stand in for what is missing.
    EXPECT_EQ(Testing::Run({"super-resolve", photo, "-o", At("large.png")}).code, 0);
    const std::string network = TEST_MODELS "SuperResolution_2.6.onnx";
    // That has the same number on all systems, and texts of their own.
    const Kernel::String missing = Kernel::DescribeError({2, std::system_category()});
    const struct {
        std::vector<std::string> arguments;
        std::vector<std::string> messages;
    } cases[] = {
        {{"--models", At(""), "depth", photo, "-o", result},
         {"DepthEstimation_2.6.onnx", "--server http://", "download DepthEstimation", "--models",
          "--models " + QuoteForShell(At(""))}},
        {{"--models", At(""), "--mode", "performance", "super-resolve", photo, "-o", result},
         {"SuperResolution_3.2.onnx", "--mode performance", "download SuperResolution"}},
        {{"--models", At(""), "super-resolve", photo, "-o", result},
         {bad, "Protobuf", "download SuperResolution"}},
        {{"depth", text, "-o", result}, {text, "no JPEG, PNG, TIFF or WebP picture"}},
        {{"colourise", cut, "-o", result}, {cut, "damaged"}},
        {{"colourise", MakeFile("x.gif", "GIF89a"), "-o", result}, {"a GIF picture", "convert it"}},
        {{"colourise", MakeFile("x.webp", "RIFF\4\1\1\1WEBP"), "-o", result},
         {"WebP", "too early"}},
        {{"colourise", MakeFile("x.svg", "<?xml?>\n<svg>"), "-o", result}, {"an SVG drawing"}},
        {{"depth", At("folder.png"), "-o", result}, {"read " + At("folder.png: it is a folder\n")}},
        {{"segment", At("none.png"), "--at", "1,1", "-o", result},
         {"none.png: " + std::string(std::string_view(missing))}},
        {{"super-resolve", photo, "-o", At("none/x.png")}, {"none/x.png", "folder is not there"}},
        {{"--models", At(""), "depth", photo, "-o", At("folder.png")}, {"png: that is a folder"}},
        {{"run", At("none.onnx"), "--output", "y:1"}, {"none.onnx"}},
        {{"run", bad, "--output", "y:1"}, {"cannot load the network " + bad, "Protobuf"}},
        {{"run", network, "--input", "input=1x3x3x2:0", "--output", "output:1x3x6x4"},
         {network, "ONNX Runtime", "input  float32  [n, 3, h, w]"}},
        {{"run", At(""), "--output", "y:1"}, {At(""), "a pipe or a device"}},
    };
    const std::set<std::string> before = GetFiles();
    for (const auto& [arguments, messages] : cases) {
        const bool hasModels = arguments.front() == "--models";
        const Outcome outcome = hasModels ? RunBare(arguments) : Testing::Run(arguments);
        EXPECT_EQ(outcome.code, 1) << outcome.err;
        EXPECT_THAT(outcome.err, StartsWith("learning: "));
        for (const std::string& message : messages) {
            EXPECT_THAT(outcome.err, HasSubstr(message));
        }
    }
    EXPECT_THAT(GetFiles(), before);
}

TEST_F(CommandLine, DrawsABarOnATerminalOnly) {
    const std::string photo = MakePhoto(200, 6, [](int x, int y) {
        return std::array{x, y, 0, 9};
    });
    const std::vector<std::string> arguments{"--models", TEST_MODELS, "super-resolve",
                                             photo,      "-o",        At("large.png")};
    for (const bool isTerminal : {false, true}) {
        std::ostringstream out;
        std::ostringstream err;
        EXPECT_EQ(RunLearning(arguments, out, err, isTerminal), 0);
        for (const char* const text : {"] 1/2  0:00 left", "] 2/2\x1B"}) {
            EXPECT_EQ(err.str().find(text) != std::string::npos, isTerminal) << text;
        }
    }
}

}  // namespace
}  // namespace LearningApp
