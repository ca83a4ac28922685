// Which device a model runs on. This program has a folder of its own, in which the runtime has the
// plug-in of FakeProvider.cpp beside it: its devices fail to run any model, and give their names.

#include "Kernel/FileStreams.h"
#include "Kernel/FileSystem.h"
#include "Kernel/Testing.h"
#include "Learning/ModelCache.h"

#include "inference/ONNXRuntime.h"
#include "inference/RuntimeEnvironment.h"
#include "tests/TestModels.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

#include <chrono>
#include <filesystem>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <utility>

namespace Learning {
namespace {

using testing::HasSubstr;

/// The name of the device on which the model runs: "CPU" for the runtime's own.
std::string GetDevice(Model& model) {
    const Kernel::Testing::Recorded<Kernel::Log> log;
    const auto ones = Kernel::MakeCounted<Tensor>(std::vector<int>{1, 4}, 1.0F);
    Model::TensorMap outputs{{"sum", ones}};
    if (model.Execute({{"a", ones}, {"b", ones}}, outputs)) {
        return "CPU";
    }
    const std::string message = log.GetMessages().back().c_str();
    return message.substr(message.find("Fake"), 7);
}

/// What the cache throws for a model that may run on any device.
std::string GetModelError() {
    try {
        ModelCache::GetInstance().GetModel(ModelCache::SuperResolution);
        return "no exception";
    } catch (const Ort::Exception&) {
        return "an exception that reads as a bad model file";
    } catch (const std::exception& error) {
        return error.what();
    }
}

class Providers : public testing::Test {
protected:
    ~Providers() override { SetMode(0); }

    static void SetMode(std::uint32_t mode) {
        ModelCache::GetInstance().SetInferenceMode(static_cast<ModelCache::InferenceMode>(mode));
    }

    static std::string GetDeviceInMode(std::uint32_t mode, Model::EP ep = Model::Default) {
        SetMode(mode);
        Model model({TestModelPath("Add")}, ep);
        return GetDevice(model);
    }
};

TEST_F(Providers, AreChosenByTheInferenceMode) {
    EXPECT_EQ(GetDeviceInMode(0), "CPU");
    EXPECT_EQ(GetDeviceInMode(1), "FakeGpu");
    EXPECT_EQ(GetDeviceInMode(2), "FakeNpu");
    EXPECT_EQ(GetDeviceInMode(4'000'000'000), "FakeNpu");
    for (const std::uint32_t mode : {0U, 1U, 2U}) {
        EXPECT_EQ(GetDeviceInMode(mode, Model::CPUOnly), "CPU");
    }
}

TEST_F(Providers, AreToldByTheModel) {
    const std::tuple<std::uint32_t, Model::EP, Device::Kind, const char*> cases[] = {
        {0, Model::Default, Device::Kind::CPU, "CPUExecutionProvider"},
        {1, Model::Default, Device::Kind::GPU, "FakeGpu"},
        {2, Model::Default, Device::Kind::NPU, "FakeNpu"},
        {2, Model::CPUOnly, Device::Kind::CPU, "CPUExecutionProvider"},
    };
    for (const auto& [mode, ep, kind, provider] : cases) {
        SetMode(mode);
        const Device device = Model({TestModelPath("Add")}, ep).GetDevice();
        EXPECT_EQ(device.kind, kind) << mode;
        EXPECT_EQ(device.provider, provider) << mode;
    }
    EXPECT_EQ(Model({}, Model::Default).GetDevice().kind, Device::Kind::Unknown);
}

TEST_F(Providers, FollowTheModeOfTheSharedInstanceAlone) {
    SetMode(0);
    ModelCache().SetInferenceMode(ModelCache::MaxPerformance);
    Model model({TestModelPath("Add")}, Model::Default);
    EXPECT_EQ(GetDevice(model), "CPU");
}

TEST_F(Providers, AreChosenForTheModelsOfTheCacheThatMayUseThem) {
    const Kernel::String folder = GetModuleFolder() + "models";
    Kernel::FileSystem::CreateDirectoryRecursive(folder);
    ModelCache& cache = ModelCache::GetInstance();
    cache.SetModelCacheFolder(folder);
    SetMode(1);
    const std::pair<ModelCache::ModelType, const char*> devices[] = {
        {ModelCache::SegmentationEncoder, "FakeGpu"}, {ModelCache::SegmentationDecoder, "FakeGpu"},
        {ModelCache::DepthEstimation, "CPU"},         {ModelCache::Colourisation, "CPU"},
        {ModelCache::SuperResolution, "FakeGpu"},
    };
    for (const auto& [type, device] : devices) {
        std::filesystem::copy_file(TestModelPath("Add").c_str(),
                                   cache.ModelTypeToModelPaths(type).front().c_str());
        EXPECT_EQ(GetDevice(*cache.GetModel(type)), device) << type;
    }
    cache.Shutdown();
    Kernel::FileSystem::DeleteAll(folder);
}

TEST_F(Providers, AreRegisteredOnceInEachLifeOfTheEnvironment) {
    for (int life = 0; life < 3; ++life) {
        EXPECT_EQ(GetDeviceInMode(1), "FakeGpu");
    }
    const Model keepsTheEnvironment({TestModelPath("First")}, Model::CPUOnly);
    for (int life = 0; life < 3; ++life) {
        EXPECT_EQ(GetDeviceInMode(2), "FakeNpu");
    }
}

TEST_F(Providers, MayBeRegisteredByOthersOfTheProcess) {
    RuntimeEnvironment environment;
    environment.Get().RegisterExecutionProviderLibrary(
        "fake.virtual", (GetModuleFolder() + "libonnxruntime_ep_fake.virtual.so").c_str());
#ifdef __SANITIZE_ADDRESS__
    const __lsan::ScopedDisabler runtimeLeaks;  // what a plug-in has made when it is refused
#endif
    EXPECT_EQ(GetDeviceInMode(1), "FakeGpu");
    environment.Get().UnregisterExecutionProviderLibrary("fake.virtual");
}

TEST_F(Providers, AreNotSoughtInOtherFiles) {
    for (const char* const name :
         {"libonnxruntime_ep_.so", "libonnxruntime_ep_old.so.1", "xlibonnxruntime_ep_other.so"}) {
        Kernel::FileOutStream::Create(GetModuleFolder() + name);
        EXPECT_EQ(GetDeviceInMode(1), "FakeGpu") << name;
        Kernel::FileSystem::Delete(GetModuleFolder() + name);
    }
}

TEST_F(Providers, ThrowOutOfTheModelCacheWhenOneCannotBeRegistered) {
    const Kernel::String broken = GetModuleFolder() + "libonnxruntime_ep_broken.so";
    Kernel::FileOutStream::Create(broken);
    SetMode(1);
    for (int attempt = 0; attempt < 2; ++attempt) {
        // Each on a thread of its own, as the cache's lock is recursive: the first has to release
        // it. Not one that is waited for, and would be for ever.
        const auto ended = std::make_shared<std::promise<std::string>>();
        std::thread([ended] { ended->set_value(GetModelError()); }).detach();
        auto error = ended->get_future();
        ASSERT_EQ(error.wait_for(std::chrono::seconds(60)), std::future_status::ready);
        EXPECT_THAT(error.get(), HasSubstr("libonnxruntime_ep_broken.so"));
    }
    EXPECT_THROW(Model({TestModelPath("Add")}, Model::Default), std::exception);
    EXPECT_EQ(GetDeviceInMode(1, Model::CPUOnly), "CPU");
    EXPECT_EQ(GetDeviceInMode(0), "CPU");
    Kernel::FileSystem::Delete(broken);
    EXPECT_EQ(GetDeviceInMode(1), "FakeGpu");
}

}  // namespace
}  // namespace Learning
