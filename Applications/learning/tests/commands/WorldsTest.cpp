// The program on machines without a usable inference runtime, and with little memory.

#include "Server/ScriptedServer.h"

#include "support/RuntimeWorlds.h"
#include "support/ZipBuilder.h"
#include "tests/LearningProgram.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <cstdlib>
#include <utility>

namespace LearningApp {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

class Worlds : public Testing::InFolder {
protected:
    std::string GetLine(const std::string& arguments) const {
        return "'" + m_program + "' --models '" + At("models") + "' " + arguments;
    }

    const std::string m_photo = MakePhoto(4, 4, [](int x, int y) {
        return std::array{x, y, 0, 255};
    });
    const std::string m_result = At("result.png");
    std::string m_program = LEARNING_PROGRAM;
};

TEST_F(Worlds, WithoutARuntimeAreToldFromOthersByTheReason) {
    // The library looks for the runtime in the folder of the module that holds its code: a shared
    // library, found on the path, or the program.
    const std::filesystem::path module(LEARNING_MODULE);
    const std::string copy = At(module.filename().string());
    std::filesystem::copy_file(module, copy);
    if (module == LEARNING_PROGRAM) {
        m_program = copy;
    }
    setenv("LD_LIBRARY_PATH", At("").c_str(), 1);
    setenv("no_proxy", "*", 1);
    std::filesystem::create_directory(At("models"));
    for (const char* const name : {"DepthEstimation_2.6.onnx", "SuperResolution_2.6.onnx"}) {
        std::filesystem::copy_file(std::string(TEST_MODELS) + name, At("models") + "/" + name);
    }
    const Server::ScriptedServer server({}, [](const Server::Request&) {
        const std::string file = Support::ReadFile(TEST_MODELS "Colourisation_2.6.onnx");
        return Server::Reply(200, {}, Support::MakeZip({{"Colourisation_2.6.onnx", file}}));
    });
    const std::string lines[] = {
        GetLine("download --force Colourisation --server http://127.0.0.1:" +
                std::to_string(server.GetPort())),
        GetLine("super-resolve '" + m_photo + "' -o '" + m_result + "'"),
        GetLine("depth '" + m_photo + "' -o '" + m_result + "'"),
        GetLine("run '" TEST_MODELS "Enlarge.onnx' --input input=1x3x1x1:1,2,3 --output "
                "output:1x3x2x2"),
    };
    const std::string place = At("libonnxruntime.so.1");
    for (const Support::RuntimeWorld& world : Support::RuntimeWorlds) {
        Support::PutRuntime(place, world.file);
        for (const std::string& line : lines) {
            const Testing::Outcome outcome = Testing::RunShell(line);
            EXPECT_EQ(outcome.code, 1) << world.name << ": " << line;
            EXPECT_THAT(outcome.out, AllOf(HasSubstr("learning: "), HasSubstr(world.reason),
                                           testing::Not(HasSubstr("package on the server"))));
        }
    }
    Support::PutRuntime(place, REAL_RUNTIME);
    for (const std::string& line : lines) {
        const Testing::Outcome outcome = Testing::RunShell(line);
        EXPECT_EQ(outcome.code, 0) << line << ": " << outcome.out;
    }
    unsetenv("LD_LIBRARY_PATH");
    unsetenv("no_proxy");
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they reserve terabytes
TEST_F(Worlds, WithLittleMemoryAreToldWhatWasTooLarge) {
    std::string photo = Support::ReadFile(m_photo);
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
        const std::string line = GetLine("run '" TEST_MODELS "Enlarge.onnx' " + options);
        const Testing::Outcome outcome = Testing::RunShell("ulimit -v 1000000; " + line);
        EXPECT_EQ(outcome.code, 1);
        EXPECT_THAT(outcome.out, AllOf(StartsWith("learning: there is "), HasSubstr(message)));
    }
}
#endif

}  // namespace
}  // namespace LearningApp
