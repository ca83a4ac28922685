// How much memory the process has: Linux tells what is its own, and its allocator keeps what is
// freed below what is in use.

#include "Learning/ModelCache.h"

#include "support/TestFolder.h"
#include "support/linux/ProcessStatus.h"
#include "tests/TestModels.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <vector>

namespace Learning {
namespace {

class ModelCacheMemory : public testing::Test {
protected:
    ModelCacheMemory() { m_cache.SetModelCacheFolder(m_folder.At("")); }
    ~ModelCacheMemory() override { m_cache.Shutdown(); }

    const Support::TestFolder m_folder;
    ModelCache& m_cache = ModelCache::GetInstance();
};

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // which keep what is freed

TEST_F(ModelCacheMemory, GivesMemoryBackWhenItEnds) {
    constexpr int Side = 384;
    std::filesystem::copy_file(TestModelPath("Slow").c_str(),
                               m_folder.At("SuperResolution_2.6.onnx"));
    const auto run = [this] {
        const std::vector<int> shape{Side, Side};
        Model::TensorMap outputs{{"y", Kernel::MakeCounted<Tensor>(shape)}};
        const auto x = Kernel::MakeCounted<Tensor>(shape, 0.0F);
        const auto model = m_cache.GetModel(ModelCache::SuperResolution);
        EXPECT_TRUE(model && model->Execute({{"x", x}}, outputs));
    };
    const auto repeat = [&](int cycles) {
        for (int i = 0; i < cycles; ++i) {
            run();
            m_cache.Shutdown();
        }
        return Support::GetOwnMemory();
    };
    const std::int64_t before = repeat(3);
    EXPECT_LT(repeat(std::getenv("ORVANTIS_SOAK") != nullptr ? 100 : 3) - before, 1'000'000);
}

TEST_F(ModelCacheMemory, GivesBackFreedMemoryBelowWhatIsInUse) {
    constexpr std::size_t BlockSize = 16'384;
    std::vector<std::unique_ptr<char[]>> blocks;
    for (int i = 0; i < 4'000; ++i) {
        blocks.push_back(std::make_unique<char[]>(BlockSize));
    }
    blocks.erase(blocks.begin(), blocks.end() - 1);
    const std::int64_t before = Support::GetOwnMemory();
    m_cache.Shutdown();
    EXPECT_LT(Support::GetOwnMemory(), before - 50'000'000);
}

#endif

}  // namespace
}  // namespace Learning
