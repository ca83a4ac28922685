#include "files/Npy.h"
#include "files/Source.h"
#include "tests/LearningProgram.h"

#include <gmock/gmock.h>

namespace LearningApp {
namespace {

using testing::HasSubstr;
using Testing::Outcome;

// Repeats each element of {1, 3, h, w} twice each way.
constexpr const char* Enlarge = TEST_MODELS "Enlarge.onnx";

// The mean of grey:0, {1, 1, h, w}, and colour:0, {1, 3, h, w}, and a corner of it, {1, 3, 2, 2}.
constexpr const char* Blend = TEST_MODELS "Blend.onnx";
constexpr const char* Depth = TEST_MODELS "DepthEstimation_2.6.onnx";
constexpr const char* Hostile = TEST_MODELS "Hostile.onnx";

class RunCommand : public Testing::InFolder {};

TEST_F(RunCommand, TakesNumbersAndPrintsThem) {
    const Outcome outcome =
        Testing::Run({"run", Enlarge, "--input", "input=1x3x2x2:1,2,3,4,5,6,7,8,9,10,-11,0.5",
                      "--output", "output:1x3x4x4"});
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_EQ(outcome.out,
              "output  1x3x4x4  min -11  max 10  mean 3.70833\n  1 1 2 2 1 1 2 2 ...\n");
}

TEST_F(RunCommand, ChainsThroughFilesWithoutLoss) {
    const std::string photo = MakePhoto(48, 32, [](int x, int y) {
        return std::array{x * 5, y * 8, x * y % 256, 255};
    });
    const std::string kept = At("kept.npy");
    const std::string picture = At("picture.png");
    ASSERT_EQ(Testing::Run({"run", Enlarge, "--input", "input=" + photo, "--output",
                            "output:1x3x64x96=" + kept})
                  .code,
              0);
    ASSERT_EQ(Testing::Run({"run", Enlarge, "--input", "input=" + kept, "--output",
                            "output:1x3x128x192=" + picture})
                  .code,
              0);
    const Testing::Photo small = Testing::LoadResult(photo);
    const Testing::Photo large = Testing::LoadResult(picture);
    for (int y = 0; y < 128; ++y) {
        for (int x = 0; x < 192; ++x) {
            EXPECT_EQ(Testing::GetPixel(large, x, y), Testing::GetPixel(small, x / 4, y / 4));
        }
    }
}

TEST_F(RunCommand, ChoosesChannelsAndShapesByTheNetwork) {
    const std::string photo = MakePhoto(24, 16, [](int x, int y) {
        return std::array{x * 10, y * 15, 99, 255};
    });
    const std::string corner = At("corner.png");
    const Outcome outcome =
        Testing::Run({"run", Blend, "--input", "grey:0=" + photo, "--input", "colour:0=" + photo,
                      "--output", "mean:0=" + At("mean.png"), "--output", "corner=" + corner});
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    const Testing::Photo source = Testing::LoadResult(photo);
    const Testing::Photo mean = Testing::LoadResult(At("mean.png"));
    ASSERT_EQ(mean->GetWidth(), 24);
    ASSERT_EQ(mean->GetHeight(), 16);
    for (int x = 0; x < 24; ++x) {
        const std::array<int, 4> pixel = Testing::GetPixel(source, x, 7);
        const double luma = 0.299 * pixel[0] + 0.587 * pixel[1] + 0.114 * pixel[2];
        for (const std::size_t i : {0, 1, 2}) {
            EXPECT_NEAR(Testing::GetPixel(mean, x, 7)[i], (luma + pixel[i]) / 2, 0.6);
        }
    }
    EXPECT_EQ(Testing::LoadResult(corner)->GetWidth(), 2);
    EXPECT_EQ(Testing::GetPixel(Testing::LoadResult(corner), 1, 1), Testing::GetPixel(mean, 1, 1));
}

TEST_F(RunCommand, AnswersWithWhatTheNetworkTakes) {
    const std::string grey = "grey:0=1x1x4x5:0";
    const std::string colour = "colour:0=1x3x4x5:0";
    const std::string photo = "0=" + MakePhoto(8, 6, [](int, int) {
                                  return std::array{1, 2, 3, 255};
                              });
    constexpr const char* Signature = "\nThe network takes\n  ";
    const struct {
        const char* model;
        std::vector<std::string> inputs;
        std::vector<std::string> outputs;
        const char* message;
    } cases[] = {
        {Blend, {grey}, {"mean:0"}, "input colour:0 is missing: add --input colour:0=SOURCE\n"},
        {Blend, {"gray:0=1:0"}, {"mean:0"}, "no input gray:0; did you mean grey:0?\n"},
        {Blend, {grey, colour}, {"men:0"}, "no output men:0; did you mean mean:0?\n"},
        {Blend, {grey, colour}, {}, "add --output NAME"},
        {Blend,
         {grey, "colour:0=1x4x5:0"},
         {"mean:0"},
         "shape 1x4x5, and the network takes [1, 3, "},
        {Blend, {"grey:0=1x3x4x5:0", colour}, {"corner"}, "1x3x4x5, and the network takes [1, 1, "},
        {Blend,
         {grey, colour},
         {"mean:0:1x3x9x5"},
         "1x3x9x5, and the network gives [1, 3, 4, 5]\n"},
        {Blend, {grey, "colour:0=1x3x1x1:0"}, {"mean:0"}, "which is [1, 3, height, width]: write"},
        {Enlarge, {"input=1x3x4x5:0"}, {"output"}, "which is [1, 3, h2, w2]: write it, --output"},
        {Depth, {photo}, {"350"}, "shape 1x3x6x8, and the network takes [1, 3, 224, 224]\n"},
        {Hostile, {}, {"same"}, "input ?[2Jcount?forged is of type int64"},
        {Hostile, {"x=1:0"}, {"same"}, "no input x\n"},
    };
    for (const auto& [model, inputs, outputs, message] : cases) {
        std::vector<std::string> arguments{"run", model};
        for (const std::string& input : inputs) {
            arguments.insert(arguments.end(), {"--input", input});
        }
        for (const std::string& output : outputs) {
            arguments.insert(arguments.end(), {"--output", output});
        }
        const Outcome outcome = Testing::Run(arguments);
        EXPECT_EQ(outcome.code, 2) << message;
        EXPECT_THAT(outcome.err, testing::AllOf(HasSubstr(message), HasSubstr(Signature),
                                                testing::Not(HasSubstr("node"))));
    }
}

TEST_F(RunCommand, AlignsTheElementsOfArraysOfAnyShape) {
    for (std::size_t rank = 0; rank < 140; ++rank) {
        const std::vector<int> shape(rank, 1);
        SaveNpy(Learning::Tensor(shape, 1.0F), At("array.npy"));
        const std::string file = Support::ReadFile(At("array.npy"));
        const std::size_t shortest = file.rfind('}') + 2;  // up to the newline
        EXPECT_EQ(file.size(), (shortest + 63) / 64 * 64 + sizeof(float)) << rank;
        EXPECT_EQ(file[file.size() - sizeof(float) - 1], '\n');
        EXPECT_EQ(LoadNpy(*Source::Open(At("array.npy")))->GetDimensions(), shape);
    }
}

std::string MakeNpy(const std::string& header, std::size_t elementCount, char version = 1) {
    std::string size{static_cast<char>(header.size() & 0xFF),
                     static_cast<char>(header.size() >> 8)};
    size.resize(version == 1 ? 2 : 4);
    return "\x93NUMPY" + std::string{version, '\0'} + size + header +
           std::string(elementCount * 4, '\0');
}

TEST_F(RunCommand, RefusesFilesOfArraysThatItCannotTrust) {
    const std::string good = "{'descr': '<f4', 'fortran_order': False, 'shape': (1, 3, 2, 2), }";
    const auto replaced = [&good](const std::string& what, const std::string& by) {
        std::string text = good;
        return text.replace(text.find(what), what.size(), by);
    };
    const struct {
        std::string content;
        const char* message;
    } cases[] = {
        {"", "not a whole .npy file"},
        {"PK\3\4 an archive of arrays", "not a .npy file"},
        {MakeNpy(good, 12, 0), "not a .npy file"},
        {MakeNpy(good, 12, 4), "not a .npy file"},
        {MakeNpy(good, 12).substr(0, 30), "not a whole .npy file"},
        {MakeNpy(good, 11), "the size that its shape"},
        {MakeNpy(good, 13), "the size that its shape"},
        {MakeNpy(replaced("<f4", "<f8"), 12), "numpy.float32"},
        {MakeNpy(replaced("False", "True"), 12), "Fortran order"},
        {MakeNpy(replaced("(1, 3, 2, 2)", "(65536, 65536)"), 12), "more than"},
        {MakeNpy(replaced("(1, 3, 2, 2)", "(99999999999,)"), 12), "damaged"},
        {MakeNpy(replaced("(1, 3, 2, 2)", "(1, -3, 2, 2)"), 12), "a dimension of -3"},
        {MakeNpy(replaced("(1, 3, 2, 2)", "(1, 0, 2, 2)"), 0), "a dimension of 0"},
        {MakeNpy(replaced("(1, 3, 2, 2), }", "(1, 3, "), 12), "damaged"},
        {MakeNpy(replaced("(1, 3, 2, 2), }", ""), 12), "damaged"},
        {MakeNpy("{}", 12), "damaged"},
        {"\x93NUMPY" + std::string("\2\0\1\0\1\0", 6), "too long"},
    };
    for (const auto& [content, message] : cases) {
        const std::string path = MakeFile("array.npy", content);
        const Outcome outcome =
            Testing::Run({"run", Enlarge, "--input", "input=" + path, "--output", "output:1"});
        EXPECT_EQ(outcome.code, 1) << message;
        EXPECT_THAT(outcome.err, testing::AllOf(HasSubstr(message), HasSubstr("array.npy")));
    }
    for (const char version : {'\1', '\2', '\3'}) {
        const std::string path = MakeFile("array.npy", MakeNpy(good, 12, version));
        EXPECT_EQ(LoadNpy(*Source::Open(path))->GetDimensions(), (std::vector{1, 3, 2, 2}));
    }
}

}  // namespace
}  // namespace LearningApp
