// What a network says of itself, and that its texts reach neither a terminal nor a line of their
// own.

#include "tests/LearningProgram.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace LearningApp {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using Testing::Outcome;
using testing::StartsWith;

class Describe : public Testing::InFolder {};

constexpr const char* Hostile = TEST_MODELS "Hostile.onnx";

TEST_F(Describe, ShowsWhatANetworkTakesAndGives) {
    const Outcome outcome = Testing::Run({"describe", "depth"});
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_THAT(outcome.out, StartsWith(TEST_MODELS "DepthEstimation_2.6.onnx\n  size "));
    EXPECT_THAT(outcome.out, HasSubstr("CPU, CPUExecutionProvider"));
    EXPECT_THAT(outcome.out, HasSubstr("inputs\n  0  float32  [1, 3, 224, 224]\n"
                                       "outputs\n  350  float32  [1, 1, 224, 224]\n"));
    EXPECT_THAT(Testing::Run({"describe", TEST_MODELS "Blend.onnx"}).out,
                HasSubstr("inputs\n  grey:0    float32  [1, 1, height, width]\n"
                          "  colour:0  float32  [1, 3, height, width]\noutputs\n"));
}

TEST_F(Describe, MakesHostileTextsHarmless) {
    const Outcome text = Testing::Run({"describe", Hostile});
    EXPECT_THAT(text.out, AllOf(HasSubstr("producer           make?networks\n"),
                                HasSubstr("description        one?wrote two\n"),
                                HasSubstr("version            3\n"),
                                HasSubstr("\n  ?[2Jcount?forged  int64  [?m?, ?]\n"),
                                HasSubstr("custom entries\n  key\"?              \\ ?größe\n")));
    const Outcome json = Testing::Run({"describe", Hostile, "--json"});
    const std::string size = std::to_string(std::filesystem::file_size(Hostile));
    EXPECT_THAT(
        json.out,
        AllOf(StartsWith(std::string("{\"file\": \"") + Hostile + "\", \"bytes\": " + size +
                         ", \"device\": {\"kind\": \"CPU\", \"provider\": "
                         "\"CPUExecutionProvider\", \"vendor\": \""),
              testing::EndsWith(
                  R"("}, "inputs": [{"name": "\u001b[2Jcount\u000aforged", "kind": "tensor", )"
                  R"("type": "int64", "shape": ["\u009bm\u000a", null]}], "outputs": )"
                  R"([{"name": "same", "kind": "tensor", "type": "float32", )"
                  R"("shape": ["\u009bm\u000a", null]}], "metadata": )"
                  R"({"producer": "make\u000dnetworks", "domain": "", )"
                  R"("description": "one\u000awrote two", "graph_name": "Hostile", )"
                  R"("graph_description": "", "version": 3, )"
                  R"("custom": {"key\"\u000a": "\\ \u0007größe"}}})"
                  "\n")));
}

TEST_F(Describe, FindsFilesFirstAndThenInstalledNetworks) {
    const struct {
        std::vector<std::string> arguments;
        int code;
        const char* message;
    } cases[] = {
        {{"--models", TEST_MODELS, "describe", "segment"},
         2,
         "several networks: name one of SegmentationEncoder, SegmentationDecoder"},
        {{"--models", TEST_MODELS, "describe", "dpeth"}, 1, "no network dpeth, neither a file"},
        {{"--models", TEST_MODELS, "describe", "dpeth"}, 1, "did you mean depth?"},
        {{"--models", At(""), "describe", "depth"}, 1, "download DepthEstimation"},
        {{"describe", MakeFile("bad.onnx", "no network")}, 1, "Protobuf"},
        {{"describe", At("")}, 1, "a pipe or a device"},
    };
    for (const auto& [arguments, code, message] : cases) {
        const Outcome outcome = Testing::RunBare(arguments);
        EXPECT_EQ(outcome.code, code) << message;
        EXPECT_THAT(outcome.err, HasSubstr(message));
        EXPECT_EQ(outcome.out, "");
    }
    const std::filesystem::path before = std::filesystem::current_path();
    Support::DuplicateFile(TEST_MODELS "Enlarge.onnx", At("depth"));
    std::filesystem::create_directory(Support::ToPath(At("colourise")));
    std::filesystem::current_path(Support::ToPath(At("")));
    EXPECT_THAT(Testing::Run({"describe", "colourise"}).out, HasSubstr("[1, 2, h, w]"));
    EXPECT_THAT(Testing::Run({"describe", "depth"}).out, HasSubstr("[n, 3, h2, w2]"));
    std::filesystem::current_path(before);
}

}  // namespace
}  // namespace LearningApp
