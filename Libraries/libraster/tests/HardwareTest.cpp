#include "Kernel/Testing.h"
#include "Raster/Bitmap.h"
#include "Raster/Pipeline.h"
#include "Raster/PixelAccessor.h"

#include "hardware/Device.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <limits>
#include <optional>
#include <random>
#include <stdexcept>

namespace Raster {
namespace {

using Process = Hardware<DefaultImplementation>;
using Picture = Kernel::Counted<DynamicBitmap>;
using Log = Kernel::Testing::Recorded<Kernel::Log>;
using FloatLimits = std::numeric_limits<float>;

/// Of 64 samples, a few beyond all bounds, the others within and around 0..1.
float MakeSample(std::mt19937& random) {
    constexpr std::array Extremes{FloatLimits::quiet_NaN(), -FloatLimits::infinity(),
                                  FloatLimits::max(), FloatLimits::denorm_min(), -0.0F};
    const std::size_t choice = random() % 64;
    return choice < Extremes.size() ? Extremes[choice]
                                    : std::uniform_real_distribution(-0.5F, 1.5F)(random);
}

Picture MakePicture(int width, int height, Format format, unsigned seed) {
    auto picture = Kernel::MakeCounted<DynamicBitmap>(width, height, format);
    std::mt19937 random(seed);
    const PixelView view = picture->GetHostView();
    const std::span bytes(view.pixels, static_cast<std::size_t>(view.stride * height));
    if (view.format->sampleSize == sizeof(float)) {
        const std::span samples(reinterpret_cast<float*>(bytes.data()), bytes.size() / 4);
        std::ranges::generate(samples, [&] { return MakeSample(random); });
    } else {
        std::ranges::generate(bytes, [&] { return static_cast<std::byte>(random()); });
    }
    return picture;
}

bool Render(const Picture& destination, const Picture& source, const Picture& mask,
            const Rect& rect, bool* abort = nullptr) {
    return Pipeline<DynamicBitmap, DynamicBitmap, DynamicBitmap>::Run(*destination, *source,
                                                                      mask.Get(), rect, {}, abort);
}

/// Every size goes to the processor's own device.
class HardwareTest : public testing::Test {
protected:
    void SetUp() override {
        Process::SetUse(HardwareUse::AnyDevice);
        if (Process::GetDevice() == nullptr) {
            GTEST_SKIP() << "There is no OpenCL device, not even the processor.";
        }
    }
    void TearDown() override { Process::SetUse(HardwareUse::GPUs); }
};

using F = Format;
struct KernelCase {
    F source;
    F destination;
    std::optional<F> mask;
};
// Each format is read and written once; any pair would be a program more.
constexpr KernelCase Cases[] = {
    {F::RGBA8, F::RGBA8, {}},          {F::RGBA8, F::LabA16, {}},
    {F::LabA16, F::RGBA16, {}},        {F::RGBA16, F::RGBAF, {}},
    {F::RGBAF, F::CMYKA8, {}},         {F::CMYKA8, F::GreyA16, {}},
    {F::GreyA16, F::Alpha8, {}},       {F::Alpha8, F::AlphaF, {}},
    {F::AlphaF, F::GreyA8, {}},        {F::GreyA8, F::Alpha16, {}},
    {F::Alpha16, F::RGBA8, {}},        {F::RGBA8, F::RGBA8, F::Alpha8},
    {F::RGBAF, F::GreyA16, F::AlphaF}, {F::LabA16, F::CMYKA8, F::RGBA8}};
class KernelFor : public HardwareTest, public testing::WithParamInterface<KernelCase> {};
INSTANTIATE_TEST_SUITE_P(Formats, KernelFor, testing::ValuesIn(Cases));

TEST_P(KernelFor, GivesTheBytesOfTheHostPath) {
    const Picture source = MakePicture(211, 71, GetParam().source, 1);
    const Picture onHost = MakePicture(199, 67, GetParam().destination, 2);
    const Picture onDevice = onHost->Clone();
    const Picture mask = GetParam().mask ? MakePicture(205, 69, *GetParam().mask, 3) : nullptr;
    const Rect rect{3, 2, 400, 59};

    Process::SetUse(HardwareUse::Never);
    EXPECT_TRUE(Render(onHost, source, mask, rect));
    Process::SetUse(HardwareUse::AnyDevice);
    EXPECT_TRUE(Render(onDevice, source, mask, rect));
    EXPECT_EQ(onDevice->GetHardwareDevice(), Process::GetDevice());
    EXPECT_TRUE(onDevice->IsEqual(*onHost));
}

TEST_F(HardwareTest, KeepsTheCopiesInStep) {
    const Picture red = MakePicture(70, 20, Format::RGBA8, 4);
    const Picture blue = MakePicture(70, 20, Format::RGBA8, 5);
    const Picture first = MakePicture(70, 20, Format::RGBA8, 6);
    const Picture expected = first->Clone();
    const auto write = [&](const Picture& picture, const Rect& rect, HardwareUse use) {
        Process::SetUse(use);
        EXPECT_TRUE(Render(first, picture, nullptr, rect));
        Process::SetUse(HardwareUse::Never);
        EXPECT_TRUE(Render(expected, picture, nullptr, rect));
    };
    write(red, {0, 0, 50, 10}, HardwareUse::AnyDevice);
    write(blue, {40, 5, 70, 20}, HardwareUse::Never);
    write(red, {45, 8, 60, 15}, HardwareUse::AnyDevice);
    write(red, {0, 0, 2, 2}, HardwareUse::AnyDevice);
    *PixelAccessor(*first).GetView().At(50, 10) = std::byte{1};
    *PixelAccessor(*expected).GetView().At(50, 10) = std::byte{1};
    write(blue, {10, 10, 12, 12}, HardwareUse::AnyDevice);
    first->DestroyHardwareBuffer();
    EXPECT_TRUE(first->IsEqual(*expected));
}

TEST_F(HardwareTest, LeavesAProgramThatDoesNotBuildToTheHost) {
    static PixelFormat damaged = GetPixelFormat(Format::RGBA8);
    damaged.getSourceFragment = [](HardwareKernelLanguage) { return "float4 ReadPixel("; };
    const auto source = Kernel::MakeCounted<DynamicBitmap>(9, 9, damaged);
    const Picture destination = MakePicture(9, 9, Format::RGBA8, 7);
    const std::uint64_t before = Process::GetFailedKernelCount(Process::GetDevice());
    const Log log;
    EXPECT_TRUE(Render(destination, source, nullptr, {0, 0, 9, 9}));
    EXPECT_TRUE(Render(destination, source, nullptr, {0, 0, 9, 9}));
    EXPECT_TRUE(destination->IsEqual(*destination->CloneEmpty()));
    EXPECT_EQ(log.GetMessages().size(), 1U);
    EXPECT_EQ(Process::GetFailedKernelCount(Process::GetDevice()), before + 2);
}

TEST_F(HardwareTest, SurvivesTheLossOfItsDevice) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const Picture source = MakePicture(90, 9, Format::RGBA8, 8);
    const Picture copy = source->CloneEmpty();
    EXPECT_TRUE(Render(copy, source, nullptr, source->GetBounds()));
    const auto loseDevice = [&] {
        Device::Find(Process::GetDevice())->GiveUp(std::runtime_error("unplugged"));
        Process::SetUse(HardwareUse::AnyDevice);  // chooses again, but not that one
        return Process::GetDevice() == nullptr && copy->GetHardwareDevice() == nullptr &&
               copy->IsEqual(*source) &&
               Render(source->CloneEmpty(), copy, nullptr, copy->GetBounds());
    };
    // In a process of its own, since a device is given up for good.
    EXPECT_EXIT(std::exit(loseDevice() ? 0 : 1), testing::ExitedWithCode(0),
                "is no longer used: unplugged");
}

TEST(FailedKernels, AreCountedWhereKernelsAreDeclined) {
    Process::SetUse(HardwareUse::Never);
    const Picture source = MakePicture(600, 600, Format::RGBA8, 9);
    const Picture destination = source->CloneEmpty();
    const std::uint64_t before = Process::GetFailedKernelCount(nullptr);
    EXPECT_FALSE(ShouldExecuteKernel({0, 0, 600, 600}));
    EXPECT_TRUE(Render(destination, source, nullptr, {600, 0, 700, 600}));
    bool abort = true;
    EXPECT_FALSE(Render(destination, source, nullptr, {0, 0, 600, 600}, &abort));
    EXPECT_EQ(Process::GetFailedKernelCount(nullptr), before);
    EXPECT_TRUE(Render(destination, source, nullptr, {0, 0, 600, 600}));
    EXPECT_EQ(Process::GetFailedKernelCount(nullptr), before + 1);
    Process::SetUse(HardwareUse::GPUs);
    EXPECT_FALSE(ShouldExecuteKernel({0, 0, 100, 100}));
}

}  // namespace
}  // namespace Raster
