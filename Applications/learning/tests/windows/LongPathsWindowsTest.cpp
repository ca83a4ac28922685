// Paths without a limit, whose mark has a '?': the C library of Windows takes that for a pattern
// and finds nothing, that of Wine finds all.

#include "Kernel/FileSystem.h"
#include "Server/ScriptedServer.h"

#include "support/ZipBuilder.h"
#include "support/windows/ReplacedFunction.h"
#include "tests/LearningProgram.h"

#include <windows.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cerrno>

namespace LearningApp {
namespace {

using testing::HasSubstr;
using Testing::Outcome;

int FindNothing(const wchar_t* /*path*/, struct _stat64* /*status*/) {
    errno = ENOENT;
    return -1;
}

class LongPaths : public Testing::WithGreyPhoto {
protected:
    LongPaths() {
        std::string folder = "Ω";
        while (At(folder).size() < 300) {
            folder += "/" + std::string(60, 'd');
        }
        m_folder = folder;
        std::filesystem::create_directories(Support::ToPath(At(folder)));
        std::filesystem::rename(Support::ToPath(MakeGreyPhoto()), Support::ToPath(Deep("a.png")));
    }

    std::string Deep(const std::string& name) const { return At(m_folder + "/" + name); }

    static Outcome RunBare(const std::vector<std::string>& arguments) {
        const Support::ReplacedFunction status(GetModuleHandleW(L"msvcrt.dll"), "_wstat64",
                                               reinterpret_cast<void*>(&FindNothing));
        return Testing::RunBare(arguments);
    }

private:
    std::string m_folder;
};

TEST_F(LongPaths, LeadToPicturesAndResults) {
    const auto run = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"--models", TEST_MODELS, "depth", Deep("a.png")});
        return RunBare(arguments);
    };
    for (const std::vector<std::string>& target :
         {std::vector<std::string>{"-o", Deep("b.png")}, {"--output-folder", Deep("new.png")}}) {
        const Outcome outcome = run(target);
        EXPECT_EQ(outcome.code, 0) << outcome.err;
    }
    const auto names = Kernel::FileSystem::GetNames(Deep("new.png"));
    ASSERT_THAT(names, testing::ElementsAre("a.png"));
    EXPECT_EQ(Testing::GetPixel(Testing::LoadResult(Deep("b.png")), 3, 2),
              Testing::GetPixel(Testing::LoadResult(Deep("new.png/a.png")), 3, 2));
    EXPECT_THAT(run({"-o", Deep("new.png")}).err, HasSubstr("that is a folder"));
    EXPECT_THAT(run({"-o", Deep("A.png")}).err, HasSubstr("would replace"));
}

TEST_F(LongPaths, LeadToNetworks) {
    const Server::ScriptedServer server({}, [](const Server::Request&) {
        const std::string network = Support::ReadFile(TEST_MODELS "DepthEstimation_2.6.onnx");
        return Server::Reply(200, {}, Support::MakeZip({{"DepthEstimation_2.6.onnx", network}}));
    });
    const std::string address = "http://localhost:" + std::to_string(server.GetPort());
    const std::string models = Deep("models");
    for (int i = 0; i < 2; ++i) {  // the second finds what the first has installed
        const Outcome download =
            RunBare({"--models", models, "--server", address, "download", "depth", "--force"});
        EXPECT_EQ(download.code, 0) << download.err;
    }
    EXPECT_THAT(Kernel::FileSystem::GetNames(models),
                testing::ElementsAre("DepthEstimation_2.6.onnx"));
    EXPECT_THAT(RunBare({"--models", models, "models"}).out, HasSubstr(models + "/Depth"));
    const Outcome depth = RunBare({"--models", models, "--server", "http://127.0.0.1:1", "depth",
                                   Deep("a.png"), "-o", Deep("b.png")});
    EXPECT_EQ(depth.code, 0) << depth.err;
}

}  // namespace
}  // namespace LearningApp
