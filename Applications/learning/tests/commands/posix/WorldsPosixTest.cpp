// The program with little memory, which only POSIX systems let a parent say.

#include "support/ZipBuilder.h"
#include "tests/LearningProgram.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <utility>

namespace LearningApp {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

using SmallWorlds = Testing::InFolder;

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they reserve terabytes
TEST_F(SmallWorlds, AreToldWhatWasTooLarge) {
    std::string photo = Support::ReadFile(MakePhoto(4, 4, [](int x, int y) {
        return std::array{x, y, 0, 255};
    }));
    photo.replace(16, 8, std::string("\0\0\x40\0\0\0\x40\0", 8));  // 16384 x 16384 pixels
    const std::uint32_t checksum = Support::GetChecksum(photo.substr(12, 17));
    for (const std::size_t i : {0, 1, 2, 3}) {
        photo[29 + i] = static_cast<char>(checksum >> (24 - 8 * i));
    }
    const std::pair<std::string, const char*> cases[] = {
        {"--input input=1x3x1x1:0 --output output:16384x16384",
         "no memory for a tensor of 16384x16384 floats, which are 1073741824 bytes"},
        {"--output y:1 --input 'x=" + MakeFile("large.png", photo) + "'",
         "not enough memory for a picture of 16384 x 16384 pixels"},
    };
    for (const auto& [options, message] : cases) {
        const Testing::Outcome outcome =
            Support::RunProcess({.line = "ulimit -v 1000000; exec " LEARNING_PROGRAM
                                         " --models . run " TEST_MODELS "Enlarge.onnx " +
                                         options,
                                 .environment = {{"LC_ALL", "C"}}});
        EXPECT_EQ(outcome.code, 1);
        EXPECT_THAT(outcome.err, AllOf(StartsWith("learning: there is "), HasSubstr(message)));
    }
}
#endif

}  // namespace
}  // namespace LearningApp
