// Which device a model runs on. This program has a folder of its own, in which the runtime has the
// plug-in of FakeProvider.cpp beside it: its devices give the sum of the model Add away.

#include "Kernel/FileStreams.h"
#include "Kernel/FileSystem.h"
#include "Kernel/Testing.h"
#include "Learning/ModelCache.h"

#include "inference/OnnxRuntime.h"
#include "tests/TestModels.h"

#include <gtest/gtest.h>

namespace Learning {
namespace {

constexpr float Sum = 3;
constexpr float GpuSum = Sum + 2000;
constexpr float NpuSum = Sum + 3000;

/// 1 + 2 as the model computes it.
float ComputeSum(Model& model) {
    const std::vector<int> shape{1, 4};
    Model::TensorMap outputs{{"sum", Kernel::MakeCounted<Tensor>(shape, 0.0F)}};
    const Model::TensorMap inputs{{"a", Kernel::MakeCounted<Tensor>(shape, 1.0F)},
                                  {"b", Kernel::MakeCounted<Tensor>(shape, 2.0F)}};
    EXPECT_TRUE(model.Execute(inputs, outputs));
    return outputs["sum"]->GetValueAtIndexedSubscript(3);
}

class Providers : public testing::Test {
protected:
    ~Providers() override { SetMode(0); }

    static void SetMode(std::uint32_t mode) {
        ModelCache::GetInstance().SetInferenceMode(static_cast<ModelCache::InferenceMode>(mode));
    }

    static float ComputeSumInMode(std::uint32_t mode, Model::EP ep) {
        SetMode(mode);
        Model model({TestModelPath("Add")}, ep);
        return ComputeSum(model);
    }
};

TEST_F(Providers, AreChosenByTheInferenceMode) {
    EXPECT_EQ(ComputeSumInMode(0, Model::Default), Sum);
    EXPECT_EQ(ComputeSumInMode(1, Model::Default), GpuSum);
    EXPECT_EQ(ComputeSumInMode(2, Model::Default), NpuSum);
    EXPECT_EQ(ComputeSumInMode(4'000'000'000, Model::Default), NpuSum);
    for (const std::uint32_t mode : {0U, 1U, 2U}) {
        EXPECT_EQ(ComputeSumInMode(mode, Model::CPUOnly), Sum);
    }
}

TEST_F(Providers, StayRegisteredWhileAnyModelIsOpen) {
    SetMode(1);
    Model first({TestModelPath("Add"), TestModelPath("Add")}, Model::Default);
    Model second({TestModelPath("Add")}, Model::Default);
    EXPECT_EQ(ComputeSum(first), GpuSum);
    EXPECT_EQ(ComputeSum(second), GpuSum);
}

TEST_F(Providers, AreRegisteredAgainAfterTheLastModelHasClosed) {
    for (int life = 0; life < 3; ++life) {
        EXPECT_EQ(ComputeSumInMode(1, Model::Default), GpuSum);
    }
    const Model keepsTheEnvironment({TestModelPath("First")}, Model::CPUOnly);
    for (int life = 0; life < 3; ++life) {
        EXPECT_EQ(ComputeSumInMode(2, Model::Default), NpuSum);
    }
}

TEST_F(Providers, ThrowOutOfTheModelCacheWhenOneCannotBeRegistered) {
    const Kernel::String broken = GetModuleFolder() + "libonnxruntime_ep_broken.so";
    Kernel::FileOutStream::Create(broken);
    ModelCache& cache = ModelCache::GetInstance();
    const auto message = [&]() -> std::string {
        try {
            cache.GetModel(ModelCache::SuperResolution);
        } catch (const Ort::Exception&) {
            return "an exception that reads as a bad model file";
        } catch (const std::exception& error) {
            return error.what();
        }
        return "no exception";
    };
    SetMode(1);
    EXPECT_NE(message().find("libonnxruntime_ep_broken.so"), std::string::npos);
    EXPECT_NE(message().find("libonnxruntime_ep_broken.so"), std::string::npos);  // lock released
    EXPECT_THROW(Model({TestModelPath("Add")}, Model::Default), std::exception);
    EXPECT_EQ(ComputeSumInMode(1, Model::CPUOnly), Sum);
    EXPECT_EQ(ComputeSumInMode(0, Model::Default), Sum);
    Kernel::FileSystem::Delete(broken);
    EXPECT_EQ(ComputeSumInMode(1, Model::Default), GpuSum);
}

}  // namespace
}  // namespace Learning
