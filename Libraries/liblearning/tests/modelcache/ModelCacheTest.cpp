#include "Kernel/Testing.h"
#include "Learning/ModelCache.h"

#include "support/TestFolder.h"
#include "support/Threads.h"
#include "tests/TestModels.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <vector>

namespace Learning {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// The shared cache, over an empty folder.
class ModelCacheTest : public testing::Test {
protected:
    ModelCacheTest() { m_cache.SetModelCacheFolder(m_folder.At("")); }
    ~ModelCacheTest() override {
        m_cache.Shutdown();
        m_cache.SetInferenceMode(ModelCache::CPU);
    }

    void Install(const std::string& package) {
        m_folder.Write(package + ".onnx", Support::ReadFile(TestModelPath("Add")));
    }

    const Support::TestFolder m_folder;
    ModelCache& m_cache = ModelCache::GetInstance();
    const Kernel::Testing::Recorded<Kernel::Log> m_log;
};

TEST(ModelCacheSettings, StartAsDocumented) {
    ModelCache cache;
    EXPECT_EQ(cache.GetInferenceMode(), ModelCache::CPU);
    EXPECT_FALSE(cache.GetUserCanDoInference());
    EXPECT_TRUE(cache.IsInferenceAvailable());
    EXPECT_EQ(cache.GetEP(), Model::Default);
    EXPECT_EQ(cache.GetEPName(), "Default");
    EXPECT_THAT(cache.ModelTypeToModelPaths(ModelCache::SegmentationEncoder),
                ElementsAre("SegmentationEncoder_2.6.onnx"));
}

TEST(ModelCacheSettings, AppendASeparatorToTheFolderAlways) {
    const Kernel::Testing::Recorded<Kernel::Trace> trace;
    ModelCache cache;
    cache.SetModelCacheFolder("C:/Models/");
    EXPECT_EQ(cache.GetModelCacheFolder(), "C:/Models//");
    cache.SetModelCacheFolder("");
    EXPECT_EQ(cache.GetModelCacheFolder(), "/");
    EXPECT_THAT(trace.GetMessages(),
                ElementsAre("Model cache is: C:/Models//\r\n", "Model cache is: /\r\n"));
}

TEST_F(ModelCacheTest, ForgetsTheOutcomeOfWhatItDeletes) {
    constexpr auto Type = ModelCache::Colourisation;
    for (int i = 0; i < 50; ++i) {
        m_folder.Write("Colourisation_2.6.onnx", "corrupt");
        Support::RunOnThreads(2, [this](int thread) {
            if (thread == 0) {
                m_cache.GetModel(Type);
            } else {
                m_cache.DeleteModel(Type);
            }
        });
        EXPECT_NE(m_cache.GetOutcome(Type).status, ModelStatus::WillNotLoad);
    }
}

TEST_F(ModelCacheTest, NamesPackagesByTheModeOfTheSharedInstance) {
    const std::vector<std::pair<const char*, const char*>> names{
        // on a CPU, accelerated
        {"SegmentationEncoder_2.6", "SegmentationEncoder_3.2"},
        {"SegmentationDecoder_2.6", "SegmentationDecoder_3.2"},
        {"DepthEstimation_2.6", "DepthEstimation_2.6"},
        {"Colourisation_2.6", "Colourisation_2.6"},
        {"SuperResolution_2.6", "SuperResolution_3.2"},
        {"", ""}};
    ModelCache other;
    other.SetInferenceMode(ModelCache::MaxEfficiency);
    for (const std::uint32_t mode : {0U, 1U, 2U, 77U}) {
        m_cache.SetInferenceMode(static_cast<ModelCache::InferenceMode>(mode));
        for (std::size_t type = 0; type < names.size(); ++type) {
            EXPECT_EQ(other.ModelTypeToPackageName(static_cast<ModelCache::ModelType>(type)),
                      mode == 0 ? names[type].first : names[type].second);
        }
    }
}

TEST_F(ModelCacheTest, LoadsAModelOnceItsFileIsThere) {
    EXPECT_FALSE(m_cache.IsModelAvailable(ModelCache::Colourisation));
    EXPECT_FALSE(m_cache.GetModel(ModelCache::Colourisation));
    EXPECT_EQ(m_log.GetMessages().size(), 1U);

    Install("Colourisation_2.6");
    EXPECT_TRUE(m_cache.IsModelAvailable(ModelCache::Colourisation));
    const auto model = m_cache.GetModel(ModelCache::Colourisation);
    ASSERT_TRUE(model);
    EXPECT_EQ(m_cache.GetModel(ModelCache::Colourisation), model);
}

TEST_F(ModelCacheTest, LoadsNothingOnceItIsToldToEnd) {
    Install("Colourisation_2.6");
    std::atomic<bool> abort = true;
    EXPECT_FALSE(m_cache.GetModel(ModelCache::Colourisation, &abort));
    EXPECT_EQ(m_cache.GetOutcome(ModelCache::Colourisation).status, ModelStatus::Cancelled);
    abort = false;
    EXPECT_TRUE(m_cache.GetModel(ModelCache::Colourisation, &abort));
    EXPECT_EQ(m_cache.GetOutcome(ModelCache::Colourisation).status, ModelStatus::Installed);
    EXPECT_THAT(m_log.GetMessages(), IsEmpty());
}

TEST_F(ModelCacheTest, KeepsALoadedModelWhenTheModeChanges) {
    Install("SuperResolution_2.6");
    const auto model = m_cache.GetModel(ModelCache::SuperResolution);
    m_cache.SetInferenceMode(ModelCache::MaxPerformance);
    EXPECT_FALSE(m_cache.IsModelAvailable(ModelCache::SuperResolution));
    EXPECT_EQ(m_cache.GetModel(ModelCache::SuperResolution), model);
    m_cache.Shutdown();
    EXPECT_FALSE(m_cache.GetModel(ModelCache::SuperResolution));
    EXPECT_TRUE(model->IsValid());  // stays usable while it is held
}

TEST_F(ModelCacheTest, ForgetsAndDeletesWhateverStandsInTheModelsPlace) {
    EXPECT_TRUE(m_cache.DeleteModel(ModelCache::DepthEstimation));  // never installed
    Install("DepthEstimation_2.6");
    EXPECT_TRUE(m_cache.GetModel(ModelCache::DepthEstimation));
    EXPECT_TRUE(m_cache.DeleteModel(ModelCache::DepthEstimation));
    EXPECT_FALSE(m_cache.IsModelAvailable(ModelCache::DepthEstimation));
    EXPECT_FALSE(m_cache.GetModel(ModelCache::DepthEstimation));

    const Kernel::String path = m_cache.ModelTypeToModelPaths(ModelCache::DepthEstimation).front();
    Kernel::FileSystem::CreateDirectoryRecursive(path + "/sub");
    EXPECT_FALSE(m_cache.GetModel(ModelCache::DepthEstimation));
    EXPECT_TRUE(m_cache.DeleteModel(ModelCache::DepthEstimation));
    EXPECT_FALSE(Kernel::FileSystem::Exists(path));
}

TEST_F(ModelCacheTest, IsHarmlessForATypeThatIsNone) {
    Install("Colourisation_2.6");
    const auto none = static_cast<ModelCache::ModelType>(99);
    EXPECT_FALSE(m_cache.IsModelAvailable(none));
    EXPECT_FALSE(m_cache.GetModel(none));
    EXPECT_TRUE(m_cache.DeleteModel(none));
    EXPECT_TRUE(m_cache.IsModelAvailable(ModelCache::Colourisation));
}

TEST_F(ModelCacheTest, ServesManyThreadsAtOnce) {
    Install("Colourisation_2.6");
    Support::RunOnThreads(8, [this](int thread) {
        const auto ones = Kernel::MakeCounted<Tensor>(std::vector<int>{1, 4}, 1.0F);
        Model::TensorMap outputs{{"sum", Kernel::MakeCounted<Tensor>(std::vector{1, 4}, 0.0F)}};
        for (int i = 0; i < 20; ++i) {
            if (const auto model = m_cache.GetModel(ModelCache::Colourisation)) {
                EXPECT_TRUE(model->Execute({{"a", ones}, {"b", ones}}, outputs));
            }
            if (thread == 0) {
                m_cache.Shutdown();
            } else if (thread == 1 && i == 15) {
                m_cache.DeleteModel(ModelCache::Colourisation);
            } else if (thread == 2) {
                m_cache.SetInferenceMode(static_cast<ModelCache::InferenceMode>(i % 3));
            }
        }
    });
    EXPECT_FALSE(m_cache.IsModelAvailable(ModelCache::Colourisation));
}

}  // namespace
}  // namespace Learning
