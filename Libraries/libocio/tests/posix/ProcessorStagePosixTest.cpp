#include "OCIO/ProcessorStage.h"

#include "support/TestFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string_view>

namespace OCIO {
namespace {

TEST(ProcessorStage, DoesNotWaitForTheWriterOfAPipe) {
    const Support::TestFolder folder;
    ASSERT_EQ(mkfifo(folder.At("pipe").c_str(), 0600), 0);
    Kernel::String reason;
    EXPECT_FALSE(ProcessorStage::CreateFromFile(folder.At("pipe"), "squared", "scene", reason));
    EXPECT_NE(std::string_view(reason).find("pipe"), std::string_view::npos);
}

}  // namespace
}  // namespace OCIO
