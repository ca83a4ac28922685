#include "Kernel/IoException.h"
#include "Kernel/ModuleFolder.h"

#include "support/TestFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

namespace Kernel {
namespace {

void LieInTheProgram() {}

TEST(ModuleFolder, IsAbsoluteAndStaysWhenTheCurrentFolderChanges) {
    const auto* const address = reinterpret_cast<const void*>(&LieInTheProgram);
    const auto program = std::filesystem::absolute(testing::internal::GetArgvs().front());
    const auto start = std::filesystem::current_path();
    const Support::TestFolder elsewhere;
    std::filesystem::current_path(Support::ToPath(elsewhere.At("")));
    const String folder = GetModuleFolder(address);
    const auto path = Support::ToPath(folder);
    std::filesystem::current_path(start);
    EXPECT_TRUE(path.is_absolute()) << folder;
    EXPECT_TRUE(std::filesystem::equivalent(path.parent_path(), program.parent_path())) << folder;
    EXPECT_EQ(folder.back(), static_cast<char>(std::filesystem::path::preferred_separator));
}

TEST(ModuleFolder, IsUnknownWhereNoModuleLies) {
    const auto onTheHeap = std::make_unique<int>();
    EXPECT_THROW(GetModuleFolder(onTheHeap.get()), IoException);
    EXPECT_THROW(GetModuleFolder(nullptr), IoException);
}

}  // namespace
}  // namespace Kernel
