#include "Kernel/Testing.h"
#include "Raster/Bitmap.h"
#include "Raster/Compositing.h"
#include "Raster/Pipeline.h"
#include "Raster/PixelAccessor.h"

#include "hardware/Device.h"
#include "hardware/DeviceCopy.h"
#include "hardware/FailureCounts.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <string>

namespace Raster {
namespace {

using Process = Hardware<DefaultImplementation>;
using Picture = Kernel::Counted<DynamicBitmap>;
using Log = Kernel::Testing::Recorded<Kernel::Log>;
using FloatLimits = std::numeric_limits<float>;

/// Of 64 samples, a few are far out of range, the others within and around 0..1.
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

/// Runs of every size use the OpenCL device of the CPU.
class HardwareTest : public testing::Test {
protected:
    void SetUp() override {
        Process::SetUse(HardwareUse::AnyDevice);
        m_device = Process::GetDevice();
        if (m_device == nullptr) {
            ASSERT_FALSE(std::filesystem::exists("/etc/OpenCL/vendors/pocl.icd"))
                << "The driver for processors is installed.";
            GTEST_SKIP() << "There is no OpenCL device, not even the processor.";
        }
    }
    void TearDown() override {
        Process::SetUse(HardwareUse::AnyDevice);
        EXPECT_EQ(Process::GetDevice(), m_device) << "The device was given up.";
        Process::SetUse(HardwareUse::GPUs);
    }

    void* m_device = nullptr;
};

using F = Format;
struct KernelCase {
    F source;
    F destination;
    std::optional<F> mask;
};
// Each format is read and written once, since every pair would need a program.
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
    EXPECT_EQ(onDevice->GetHardwareDevice(), m_device);
    EXPECT_TRUE(onDevice->IsEqual(*onHost));
}

TEST_F(HardwareTest, KeepsTheCopiesInStepWhoeverWritesWhen) {
    constexpr int Width = 70;
    constexpr int Height = 20;
    const std::array sources{MakePicture(Width, Height, F::RGBA8, 4),
                             MakePicture(Width, Height, F::RGBA8, 5)};
    const Picture mask = MakePicture(Width, Height, F::Alpha8, 6);
    const auto picture =
        Kernel::MakeCounted<DynamicBitmap>(Width, Height, F::RGBA8, MipmapMode::OnDemand);
    const Picture expected = picture->CloneEmpty();
    std::mt19937 random(7);
    const auto choose = [&](int count) { return static_cast<int>(random() % unsigned(count)); };
    const auto render = [&](HardwareUse use, const Picture& through) {
        const Picture& source = sources[random() % sources.size()];
        // Few positions and sizes, so that many contain each other.
        const int left = choose(3) * 20;
        const int top = choose(3) * 5;
        const Rect rect{left, top, left + (1 + choose(3)) * 25, top + (1 + choose(3)) * 7};
        Process::SetUse(use);
        EXPECT_TRUE(Render(picture, source, through, rect));
        Process::SetUse(HardwareUse::Never);
        EXPECT_TRUE(Render(expected, source, through, rect));
    };
    const std::array<std::function<void()>, 9> steps{
        [&] { render(HardwareUse::AnyDevice, nullptr); },
        [&] { render(HardwareUse::AnyDevice, mask); },
        [&] { render(HardwareUse::Never, nullptr); },
        [&] { render(HardwareUse::Never, mask); },
        [&] {
            const int x = choose(Width);
            const auto value = static_cast<std::byte>(random());
            *PixelAccessor(*picture).GetView().At(x, 3) = value;
            *PixelAccessor(*expected).GetView().At(x, 3) = value;
        },
        [&] {
            bool abort = true;
            const PixelAccessor idle(*picture, &abort);
        },
        [&] {
            Process::SetUse(HardwareUse::Never);
            EXPECT_TRUE(CompositeOver(*picture, *sources[0], {}, 0.5F));
            EXPECT_TRUE(CompositeOver(*expected, *sources[0], {}, 0.5F));
        },
        [&] { picture->DestroyHardwareBuffer(); },
        [&] { EXPECT_TRUE(picture->GetLevel(1)->IsEqual(*expected->GetLevel(1))); }};
    // Mostly rectangles: operations on the whole picture synchronise the copies.
    std::discrete_distribution<std::size_t> step{8, 4, 8, 4, 1, 1, 1, 1, 4};
    for (int i = 0; i < 2000; ++i) {
        steps[step(random)]();
    }
    EXPECT_TRUE(picture->IsEqual(*expected));
}

TEST_F(HardwareTest, ShowsAnyReaderWhatTheDeviceWrote) {
    const Picture source = MakePicture(70, 20, F::RGBAF, 10);
    for (int i = 0; i < 70 * 3; ++i) {  // opaque but below
        reinterpret_cast<float*>(source->GetHostView().At(i % 70, i / 70))[3] = 1;
    }
    const auto hash = [](const DynamicBitmap& bitmap) {
        Kernel::HashAccumulator sum;
        bitmap.AccumulateHashFast(sum);
        return testing::PrintToString(sum.GetHash());
    };
    const auto print = [](const Rect& box) {
        return testing::PrintToString(std::array{box.left, box.top, box.right, box.bottom});
    };
    using Text = std::string;
    const std::function<Text(DynamicBitmap&)> readers[]{
        hash,
        [&](auto& bitmap) { return hash(*bitmap.Clone()); },
        [&](auto& bitmap) { return hash(*bitmap.GetLevel(1)); },
        [&](auto& bitmap) { return hash(*BoxFilter(bitmap, 1)); },
        [&](auto& bitmap) { return print(bitmap.GetAlphaBoundingBox()); },
        [&](auto& bitmap) { return print(bitmap.GetInverseAlphaBoundingBox()); },
        [&](auto& bitmap) { return Text(bitmap.IsEqual(*source) ? "same" : "other"); },
        [&](auto& bitmap) { return Text(source->IsEqual(bitmap) ? "same" : "other"); },
        [&](auto& bitmap) {
            const ConstPixelAccessor pixels(bitmap);
            return testing::PrintToString(*pixels.GetView().At(0, 0));
        },
        [&](auto& bitmap) {
            return testing::PrintToString(static_cast<int>(bitmap.CheckForCorruptions(true)));
        },
        [&](auto& bitmap) {
            const Picture repaired = bitmap.CloneEmpty();
            bitmap.FixCorruptions();
            Process::SetUse(HardwareUse::AnyDevice);
            Pipeline<DynamicBitmap, DynamicBitmap>::Run(*repaired, bitmap, nullptr,
                                                        bitmap.GetBounds());
            return hash(*repaired);
        },
        [&](auto& bitmap) {
            bitmap.DestroyHardwareBuffer();
            return hash(bitmap);
        },
        [&](auto& bitmap) {  // further than it reaches
            bitmap.InvalidateHostCache({-9, -9, 900, 900});
            const Text seen = hash(bitmap);
            bitmap.InvalidateHardwareCache({-9, -9, 900, 900});
            Process::SetUse(HardwareUse::AnyDevice);
            const Picture copy = bitmap.CloneEmpty();
            Pipeline<DynamicBitmap, DynamicBitmap>::Run(*copy, bitmap, nullptr, bitmap.GetBounds());
            return seen + hash(*copy);
        }};
    for (std::size_t i = 0; i < std::size(readers); ++i) {
        const auto onDevice =
            Kernel::MakeCounted<DynamicBitmap>(70, 20, F::RGBAF, MipmapMode::OnDemand);
        const Picture onHost = onDevice->Clone();
        Process::SetUse(HardwareUse::Never);
        EXPECT_TRUE(Render(onHost, source, nullptr, source->GetBounds()));
        const Text expected = readers[i](*onHost);
        Process::SetUse(HardwareUse::AnyDevice);
        EXPECT_TRUE(Render(onDevice, source, nullptr, source->GetBounds()));
        EXPECT_EQ(onDevice->GetHardwareDevice(), m_device);
        EXPECT_EQ(readers[i](*onDevice), expected) << i;
    }
}

TEST_F(HardwareTest, RunsKernelsWithinAllTheirImagesOnly) {
    enum { Source, Destination, Mask, None };
    for (const int tooSmall : {Source, Destination, Mask, None}) {
        const auto make = [&](int which, Format format) {
            return MakePicture(which == tooSmall ? 8 : 9, 9, format, 11);
        };
        const Picture pictures[]{make(Source, F::RGBA8), make(Destination, F::RGBA16),
                                 make(Mask, F::Alpha8)};
        const auto language = GetKernelLanguage(m_device);
        const DeviceBuffer buffers[]{
            DeviceBuffer(pictures[Source]->RetainHardwareBuffer(m_device, nullptr)),
            DeviceBuffer(pictures[Destination]->RetainHardwareBuffer(m_device, nullptr)),
            DeviceBuffer(pictures[Mask]->RetainHardwareBuffer(m_device, nullptr))};
        const auto describe = [&](int which, const char* traits, const char* addressing) {
            return KernelImage{&pictures[which]->GetPixelFormat(), traits, addressing,
                               buffers[which].Get()};
        };
        const auto format = [&](int which) -> const PixelFormat& {
            return pictures[which]->GetPixelFormat();
        };
        KernelDescriptor kernel{m_device,
                                describe(Source, format(Source).getSourceFragment(language),
                                         pictures[Source]->GetSourceHardwareFragment(language)),
                                describe(Destination, format(Destination).getDestFragment(language),
                                         pictures[Destination]->GetDestHardwareFragment(language)),
                                describe(Mask, format(Mask).getMaskFragment(language),
                                         pictures[Mask]->GetMaskHardwareFragment(language)),
                                GetJointConversionFragment(language),
                                KernelPerPixel<Horizontal>::GetHardwareFragment(language)};
        EXPECT_EQ(ExecuteKernel(kernel, {0, 0, 9, 9}), tooSmall == None);
        EXPECT_TRUE(ExecuteKernel(kernel, {0, 0, 8, 9}));
        EXPECT_FALSE(ExecuteKernel(kernel, {-1, 0, 8, 9}));
        EXPECT_FALSE(ExecuteKernel(kernel, {0, 0, 8, 10}));
        kernel.mask.buffer = nullptr;
        EXPECT_FALSE(ExecuteKernel(kernel, {0, 0, 8, 9}));
    }
}

TEST_F(HardwareTest, LoadsPixelsBeforeAKernelReadsThem) {
    class Whitener : public DelayLoader {
        void Load(const PixelView& pixels, const bool* /*abort*/) override {
            std::fill_n(pixels.At(0, 0), pixels.stride * pixels.height, std::byte{255});
        }
    };
    const auto source = Kernel::MakeCounted<DynamicBitmap>(9, 9);
    const Picture destination = source->CloneEmpty();
    EXPECT_TRUE(Render(destination, source, nullptr, source->GetBounds()));
    source->SetDelayLoader(std::make_unique<Whitener>());
    EXPECT_TRUE(Render(destination, source, nullptr, source->GetBounds()));
    EXPECT_EQ(destination->GetHardwareDevice(), m_device);
    EXPECT_EQ(destination->GetInverseAlphaBoundingBox(), EmptyRect);
}

TEST_F(HardwareTest, DeclinesBitmapsThatMayNotOrCanNotTakePart) {
    static PixelFormat notForReading = GetPixelFormat(F::RGBA8);
    notForReading.getSourceFragment = [](HardwareKernelLanguage) -> const char* { return nullptr; };
    const Picture source = MakePicture(9, 9, F::RGBA8, 8);
    const Picture mask = MakePicture(9, 9, F::Alpha8, 9);
    const Picture destinations[]{Kernel::MakeCounted<DynamicBitmap>(9, 9, notForReading),
                                 Kernel::MakeCounted<DynamicBitmap>(
                                     9, 9, F::RGBA8, MipmapMode::None, HardwareCachePolicy::Never)};
    const std::uint64_t before = Process::GetFailedKernelCount(nullptr);
    for (const Picture& destination : destinations) {
        EXPECT_TRUE(Render(destination, source, mask, source->GetBounds()));
        EXPECT_EQ(destination->GetHardwareDevice(), nullptr);
    }
    EXPECT_EQ(Process::GetFailedKernelCount(nullptr), before + 2);
    PixelView huge = source->GetHostView();  // a few bytes more than a buffer may have
    huge.height = 2;
    huge.stride =
        static_cast<std::ptrdiff_t>(static_cast<Device*>(m_device)->GetLargestBuffer() / 2 + 1);
    EXPECT_EQ(DeviceCopy().Retain(m_device, huge), nullptr);
}

TEST_F(HardwareTest, LeavesAProgramThatDoesNotBuildToTheHost) {
    static PixelFormat damaged = GetPixelFormat(Format::RGBA8);
    damaged.getSourceFragment = [](HardwareKernelLanguage) { return "float4 ReadPixel("; };
    const auto source = Kernel::MakeCounted<DynamicBitmap>(9, 9, damaged);
    const Picture destination = MakePicture(9, 9, Format::RGBA8, 7);
    const std::uint64_t before = Process::GetFailedKernelCount(m_device);
    const Log log;
    EXPECT_TRUE(Render(destination, source, nullptr, {0, 0, 9, 9}));
    EXPECT_TRUE(Render(destination, source, nullptr, {0, 0, 9, 9}));
    EXPECT_TRUE(destination->IsEqual(*destination->CloneEmpty()));
    EXPECT_EQ(log.GetMessages().size(), 1U);
    EXPECT_EQ(Process::GetFailedKernelCount(m_device), before + 2);
}

TEST_F(HardwareTest, SurvivesTheLossOfItsDevice) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const Picture source = MakePicture(90, 9, Format::RGBA8, 8);
    const Picture copy = source->CloneEmpty();
    EXPECT_TRUE(Render(copy, source, nullptr, source->GetBounds()));
    // An OpenCL call fails, as all do on a lost device: there is no kernel of that name.
    static PixelFormat failing = GetPixelFormat(Format::RGBA16);
    failing.getSourceFragment = [](HardwareKernelLanguage) {
        return "#define ConvertPixels Other\n"
               "float4 ReadPixel(__global const uchar* p) { return (float4)(0.0f); }";
    };
    const auto loseDevice = [&] {
        const auto last = Kernel::MakeCounted<DynamicBitmap>(90, 9, failing);
        const bool isRendered = Render(source->CloneEmpty(), last, nullptr, last->GetBounds());
        Process::SetUse(HardwareUse::AnyDevice);  // chooses again, but not the failed device
        return isRendered && Process::GetDevice() == nullptr &&
               copy->GetHardwareDevice() == nullptr && copy->IsEqual(*source) &&
               Render(source->CloneEmpty(), copy, nullptr, copy->GetBounds());
    };
    // In a process of its own, since a failed device is disabled until the process ends.
    EXPECT_EXIT(std::exit(loseDevice() ? 0 : 1), testing::ExitedWithCode(0),
                "is no longer used: clCreateKernel failed with code");
}

TEST(FailureCounts, AreKeptForNoneAndSixteenDevices) {
    FailureCounts counts;
    std::array<int, 17> devices{};
    for (int round = 0; round < 2; ++round) {
        for (std::size_t i = 0; i < devices.size(); ++i) {
            for (std::size_t times = 0; times <= i; ++times) {
                counts.Increment(&devices[i]);
            }
            counts.Increment(nullptr);
        }
    }
    EXPECT_EQ(counts.Get(nullptr), 34U);
    for (std::size_t i = 0; i < devices.size(); ++i) {
        EXPECT_EQ(counts.Get(&devices[i]), i < 16 ? 2 * i + 2 : 0);
    }
}

TEST(FailedKernels, AreCountedWhereKernelsAreDeclined) {
    Process::SetUse(HardwareUse::Never);
    const Picture source = MakePicture(600, 600, Format::RGBA8, 9);
    const Picture destination = source->CloneEmpty();
    const std::uint64_t before = Process::GetFailedKernelCount(nullptr);
    using Limits = std::numeric_limits<int>;
    EXPECT_FALSE(ShouldExecuteKernel({Limits::min(), Limits::min(), Limits::max(), Limits::max()}));
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
