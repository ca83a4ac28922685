// What becomes of a process that loads the library where the runtime of Windows apps is missing or
// damaged. The programs have a folder of their own, in which the tests put what stands there.

#include "support/TestFolder.h"
#include "support/windows/ChildProcess.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace Learning {
namespace {

constexpr std::uint32_t Fine = 42;

class WindowsApp : public testing::TestWithParam<const char*> {
protected:
    WindowsApp() { std::filesystem::remove(m_runtime); }

    static Support::ChildResult Run() {
        return Support::RunChild(std::string(PROGRAM_FOLDER) + GetParam());
    }

    const std::filesystem::path m_runtime = PROGRAM_FOLDER "Microsoft.WindowsAppRuntime.dll";
};

TEST_P(WindowsApp, RunsWhereTheRuntimeIs) {
    std::filesystem::copy_file(STUB_RUNTIME, m_runtime);
    const Support::ChildResult result = Run();
    EXPECT_EQ(result.exitCode, Fine) << result.output;
    EXPECT_EQ(result.output, "");
}

TEST_P(WindowsApp, EndsWithTheSystemsCodeWhereItIsMissing) {
    const Support::ChildResult result = Run();
    EXPECT_EQ(result.exitCode, 0x8007007EU);
    EXPECT_THAT(result.output, testing::HasSubstr("Microsoft.WindowsAppRuntime.dll"));
}

TEST_P(WindowsApp, EndsWithTheSystemsCodeWhereItIsNoLibrary) {
    Support::WriteFile(m_runtime, "This is no library.\n");
    EXPECT_EQ(Run().exitCode, 0x800700C1U);
}

INSTANTIATE_TEST_SUITE_P(ThatLinksOrLoads, WindowsApp,
                         testing::Values("WindowsAppLinked.exe", "WindowsAppLoading.exe"));

}  // namespace
}  // namespace Learning
