// What each operation does without a usable runtime. This program has a folder of its own, in which
// a test puts in the runtime's place what is none, and at last the runtime.

#include "Learning/TensorBitmap.h"
#include "Learning/TensorImages.h"

#include "inference/ONNXRuntime.h"
#include "support/RuntimeWorlds.h"
#include "tests/modelcache/DownloadTesting.h"

#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>

namespace Learning {
namespace {

using testing::AllOf;
using testing::HasSubstr;

TEST(RuntimeLibrary, FindsWhatItNeedsBesideItself) {
    auto path = std::filesystem::absolute(FAKE_RUNTIMES "WithSibling.library");
    const std::u8string text = path.make_preferred().u8string();  // as the path of a module
    const RuntimeLibrary runtime(std::string(text.begin(), text.end()));
    ASSERT_NE(runtime.GetApiBase(), nullptr);
    EXPECT_STREQ(runtime.GetApiBase()->GetVersionString(), "1.2.3");
}

class EmptyTensor : public Tensor {
public:
    EmptyTensor() = default;
};

using Bitmap = Raster::Tensor<Raster::RedF, Raster::GreenF, Raster::BlueF, Raster::X4, Raster::X5,
                              Raster::CHW>;

/// Something that needs the runtime, and whether it went well.
struct Operation {
    std::string name;
    std::function<bool()> run;
};

class Worlds : public DownloadTest {
protected:
    Worlds() {
        for (const char* const name : {"SuperResolution_2.6", "SuperResolution_3.2"}) {
            std::filesystem::copy_file(TestModelPath("Add").c_str(),
                                       m_models / (std::string(name) + ".onnx"));
        }
        AddTensors();
        AddModels();
    }

    void AddTensors() {
        m_operations = {
            {"shape",
             [] {
                 return Tensor({2, 3}).GetDimensions().size() == 2;
             }},
            {"values",
             [] {
                 return Tensor({2}, {1, 2}).GetValueAtKeyedSubscript({1}) == 2;
             }},
            {"value", [] { return Tensor({2}, 3.0F).GetValueAtIndexedSubscript(1) == 3; }},
            {"storage", [] { return EmptyTensor().CreatePlatformTensor({1}), true; }},
            {"bitmap",
             [] {
                 return Bitmap({1, 3, 2, 4}).GetHostView().width == 4;
             }},
            {"copied bitmap",
             [] {
                 return Bitmap(Bitmap({3, 2, 4})).GetWidth() == 4;
             }},
            {"image", [] {
                 Tensor tensor({3, 2, 2});
                 Raster::DynamicBitmap picture(2, 2);
                 FillTensorCHW(tensor, picture);
                 ReadTensorCHW(tensor, picture);
                 return true;
             }}};
    }

    void AddModels() {
        for (const std::uint32_t mode : {0U, 1U, 2U}) {
            const auto add = [&](const char* what, std::function<bool()> run) {
                m_operations.push_back({what + std::to_string(mode), [this, mode, run] {
                                            SetMode(mode);
                                            return run();
                                        }});
            };
            add("model of the CPU in mode ",
                [] { return Model({TestModelPath("Add")}, Model::CPUOnly).IsValid(); });
            add("model of two files in mode ", [] {
                const Model model({TestModelPath("Add"), TestModelPath("First")}, Model::Default);
                return Model(model).IsValid();
            });
            add("cached model of any device in mode ",
                [this] { return bool(m_cache.GetModel(ModelCache::SuperResolution)); });
            add("download in mode ", [this] { return DownloadPackage(MakePackage()); });
            add("cached model of the CPU in mode ",
                [this] { return bool(m_cache.GetModel(Type)); });
        }
    }

    void SetMode(std::uint32_t mode) {
        m_cache.SetInferenceMode(static_cast<ModelCache::InferenceMode>(mode));
    }

    /// "done", or the reason why not, which is thrown or logged.
    static std::string Run(const Operation& operation) {
        const Kernel::Testing::Recorded<Kernel::Log> log;
        try {
            return operation.run() ? "done" : log.GetMessages().at(0).c_str();
        } catch (const std::exception& error) {
            return error.what();
        }
    }

    /// What needs no runtime.
    void ExpectTheRestToWork() {
        const EmptyTensor empty;
        EmptyTensor copy(empty);
        copy = empty;
        copy.DestroyPlatformTensor();
        EXPECT_THROW(copy.SetPlatformTensor(nullptr), std::exception);
        EXPECT_THROW(FillTensorCHW(copy, Raster::DynamicBitmap(2, 2)), std::invalid_argument);
        Model none({}, Model::Default);
        Model::TensorMap outputs;
        EXPECT_TRUE(none.IsValid());
        EXPECT_FALSE(none.Execute({}, outputs));
        Model closed({TestModelPath("Add")}, Model::Default);
        EXPECT_FALSE(closed.Execute({}, outputs));
        EXPECT_EQ(m_cache.GetEP(), Model::Default);
        EXPECT_EQ(m_cache.GetEPName(), "Default");
        EXPECT_TRUE(m_cache.IsModelAvailable(ModelCache::SuperResolution));
        EXPECT_TRUE(m_cache.DeleteModel(Type));
        m_cache.Shutdown();
    }

    const std::string m_place = GetRuntimePath().c_str();
    std::vector<Operation> m_operations;
};

TEST_F(Worlds, WithoutARuntimeGiveAReasonUntilThereIsOne) {
    for (const Support::RuntimeWorld& world : Support::RuntimeWorlds) {
        SCOPED_TRACE(world.name);
        Support::PutRuntime(m_place, world.file);
        for (const Operation& operation : m_operations) {
            EXPECT_THAT(Run(operation), AllOf(HasSubstr(m_place), HasSubstr(world.reason)))
                << operation.name;
        }
        EXPECT_EQ(m_cache.GetOutcome(Type).status, ModelStatus::NoRuntime);
        ExpectTheRestToWork();
    }
    Support::PutRuntime(m_place, REAL_RUNTIME);
    for (const Operation& operation : m_operations) {
        EXPECT_EQ(Run(operation), "done") << operation.name;
    }
}

}  // namespace
}  // namespace Learning
