// The program on machines without a usable inference runtime.

#include "Server/ScriptedServer.h"

#include "support/RuntimeWorlds.h"
#include "support/ZipBuilder.h"
#include "tests/LearningProgram.h"
#include "tests/ProgramCopy.h"

#include <gmock/gmock.h>

namespace LearningApp {
namespace {

using testing::AllOf;
using testing::HasSubstr;

class Worlds : public Testing::InFolder {
protected:
    Testing::Outcome Run(std::vector<std::string> arguments) const {
        Support::Command command = m_copy.command;
        command.environment.emplace_back("no_proxy", "*");
        command.words = {m_copy.program, "--models", At("models")};
        command.words.insert(command.words.end(), arguments.begin(), arguments.end());
        return Support::RunProcess(command);
    }

    const std::string m_photo = MakePhoto(4, 4, [](int x, int y) {
        return std::array{x, y, 0, 255};
    });
    const Testing::ProgramCopy m_copy = Testing::CopyProgram(At(""));
};

TEST_F(Worlds, WithoutARuntimeAreToldFromOthersByTheReason) {
    std::filesystem::create_directory(Support::ToPath(At("models")));
    for (const char* const name : {"DepthEstimation_2.6.onnx", "SuperResolution_2.6.onnx"}) {
        Support::DuplicateFile(std::string(TEST_MODELS) + name, At("models") + "/" + name);
    }
    const Server::ScriptedServer server({}, [](const Server::Request&) {
        const std::string file = Support::ReadFile(TEST_MODELS "Colourisation_2.6.onnx");
        return Server::Reply(200, {}, Support::MakeZip({{"Colourisation_2.6.onnx", file}}));
    });
    const std::string result = At("result.png");
    const std::vector<std::string> commands[] = {
        {"download", "--force", "Colourisation", "--server",
         "http://127.0.0.1:" + std::to_string(server.GetPort())},
        {"super-resolve", m_photo, "-o", result},
        {"depth", m_photo, "-o", result},
        {"run", TEST_MODELS "Enlarge.onnx", "--input", "input=1x3x1x1:1,2,3", "--output",
         "output:1x3x2x2"},
    };
    const std::filesystem::path place = Support::ToPath(m_copy.runtime);
    for (const Support::RuntimeWorld& world : Support::RuntimeWorlds) {
        Support::PutRuntime(place, world.file);
        for (const auto& command : commands) {
            const Testing::Outcome outcome = Run(command);
            EXPECT_EQ(outcome.code, 1) << world.name << ": " << command.front();
            EXPECT_THAT(outcome.err, AllOf(HasSubstr("learning: "), HasSubstr(world.reason),
                                           testing::Not(HasSubstr("package on the server"))));
        }
    }
    Support::PutRuntime(place, REAL_RUNTIME);
    for (const auto& command : commands) {
        const Testing::Outcome outcome = Run(command);
        EXPECT_EQ(outcome.code, 0) << command.front() << ": " << outcome.err;
    }
}

}  // namespace
}  // namespace LearningApp
