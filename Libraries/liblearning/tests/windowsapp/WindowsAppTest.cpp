// What becomes of a process that loads the library where the runtime of Windows apps is missing or
// damaged. The programs have a folder of their own, in which the tests put what stands there.

#include "support/Process.h"
#include "support/TestFolder.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace Learning {
namespace {

constexpr int Fine = 42;

class WindowsApp : public testing::TestWithParam<const char*> {
protected:
    WindowsApp() { std::filesystem::remove(m_runtime); }

    static Support::Outcome Run() {
        return Support::RunProcess(
            {.words = {std::string(PROGRAM_FOLDER) + GetParam()}, .folder = PROGRAM_FOLDER});
    }

    const std::filesystem::path m_runtime = PROGRAM_FOLDER "Microsoft.WindowsAppRuntime.dll";
};

TEST_P(WindowsApp, RunsWhereTheRuntimeIs) {
    std::filesystem::copy_file(STUB_RUNTIME, m_runtime);
    const Support::Outcome result = Run();
    EXPECT_EQ(result.code, Fine);
    EXPECT_EQ(result.out + result.err, "");
}

TEST_P(WindowsApp, EndsWithTheSystemsCodeWhereItIsMissing) {
    const Support::Outcome result = Run();
    EXPECT_EQ(result.code, static_cast<int>(0x8007007E));
    EXPECT_THAT(result.err, testing::HasSubstr("Microsoft.WindowsAppRuntime.dll"));
}

TEST_P(WindowsApp, EndsWithTheSystemsCodeWhereItIsNoLibrary) {
    Support::WriteFile(m_runtime, "This is no library.\n");
    EXPECT_EQ(Run().code, static_cast<int>(0x800700C1));
}

INSTANTIATE_TEST_SUITE_P(ThatLinksOrLoads, WindowsApp,
                         testing::Values("WindowsAppLinked.exe", "WindowsAppLoading.exe"));

}  // namespace
}  // namespace Learning
