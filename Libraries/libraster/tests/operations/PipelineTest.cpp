#include "Raster/DynamicBitmap.h"
#include "Raster/ModelBase.h"
#include "Raster/Pipeline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace Raster {
namespace {

using Params = AffineTransform::Params;
constexpr int Most = std::numeric_limits<int>::max();

/// Logs the calls of a run, and sets the abort flag at call number `end`.
struct Diary {
    void Write(const std::string& line) {
        lines.push_back(line);
        if (lines.size() == end) {
            std::atomic_ref(abort).store(true);
        }
    }

    std::size_t end;
    std::vector<std::string> lines;
    bool abort = false;
};

class Witness : public ModelBase<Witness, Red8, Green8, Blue8, Alpha8, X5> {
public:
    Witness(std::string name, Diary& diary) : m_name(std::move(name)), m_diary(diary) {}
    static const PixelFormat& GetPixelFormat() { return Raster::GetPixelFormat(Format::RGBA8); }
    int GetWidth(int /*level*/) const { return 9; }
    int GetHeight(int /*level*/) const { return 8; }
    PixelView GetHostView() { return m_bitmap.GetHostView(); }
    ConstPixelView GetHostView() const { return m_bitmap.GetHostView(); }
    void SyncHostCache(Rect* rect, bool /*willOverwrite*/, bool* abort) const {
        EXPECT_EQ(abort, &m_diary.abort);
        m_diary.Write(m_name + (rect != nullptr ? " in " + Print(*rect) : ""));
    }
    void InvalidateHardwareCache(Rect rect) { m_diary.Write("changed " + Print(rect)); }

private:
    static std::string Print(const Rect& rect) {
        return testing::PrintToString(std::array{rect.left, rect.top, rect.right, rect.bottom});
    }

    std::string m_name;
    Diary& m_diary;
    DynamicBitmap m_bitmap{9, 8};
};

class WitnessStage : public SpanStage {
public:
    explicit WitnessStage(Diary& diary) : m_diary(diary) {}
    void Apply(float* /*rgba*/, std::size_t /*count*/) const override { m_diary.Write("pixels"); }

private:
    Diary& m_diary;
};

TEST(Pipeline, KeepsItsOrderAndStopsWhereItIsAborted) {
    const std::vector<std::string> steps{"source", "destination in { 5, 7, 9, 8 }", "mask",
                                         "pixels", "changed { 5, 7, 9, 8 }"};
    for (std::size_t end = 1; end <= steps.size(); ++end) {
        Diary diary{end, {}};
        Witness destination("destination", diary);
        const Witness source("source", diary);
        const Witness mask("mask", diary);
        Rendering rendering;
        rendering.stages = {Kernel::MakeCounted<WitnessStage>(diary)};
        const std::uint64_t failures =
            Hardware<DefaultImplementation>::GetFailedKernelCount(nullptr);
        const bool isDone = Pipeline<Witness, Witness>::Run(
            destination, source, &mask, {5, 7, Most, Most}, rendering, &diary.abort);
        EXPECT_EQ(isDone, end == steps.size());
        EXPECT_EQ(diary.lines, std::vector(steps.begin(), steps.begin() + std::ptrdiff_t(end)));
        EXPECT_EQ(Hardware<DefaultImplementation>::GetFailedKernelCount(nullptr), failures + 1);
    }
}

TEST(Pipeline, TakesAnyRectangleAndSize) {
    DynamicBitmap destination(30, 20, Format::CMYKA8);
    DynamicBitmap source(10, 40, Format::CMYKA8);
    const DynamicBitmap nothing(0, 0);
    using Run = Pipeline<DynamicBitmap, DynamicBitmap>;
    std::fill_n(source.GetHostView().At(0, 0), 50, std::byte{77});
    EXPECT_TRUE(Run::Run(destination, source, nullptr, {-Most - 1, -Most - 1, Most, Most}));
    EXPECT_TRUE(std::equal(source.GetHostView().At(0, 0), source.GetHostView().At(10, 0),
                           destination.GetHostView().At(0, 0)));
    EXPECT_EQ(destination.GetAlphaBoundingBox(), (Rect{0, 0, 10, 1}));
    EXPECT_TRUE(Run::Run(destination, source, nullptr, {Most - 1, 0, Most, 5}));
    EXPECT_EQ(destination.GetAlphaBoundingBox(), (Rect{0, 0, 10, 1}));
    const Rendering impossible{.transform = Params::Scale(0, 1), .stages = {}};
    EXPECT_FALSE(Run::Run(destination, source, nullptr, destination.GetBounds(), impossible));
    const ViewSource from(source.GetHostView());
    ViewTarget to(destination.GetHostView());
    EXPECT_THROW(RunHostPath({&from, &to, nullptr, &impossible, nullptr}, {0, 0, 1, 1}),
                 std::invalid_argument);
    EXPECT_TRUE(Run::Run(destination, nothing, nullptr, destination.GetBounds()));
    EXPECT_TRUE(destination.GetAlphaBoundingBox().IsEmpty());
    bool abort = true;
    EXPECT_FALSE(Run::Run(destination, source, nullptr, destination.GetBounds(), {}, &abort));
}

class Lamp : public SpanStage {
    void Apply(float* rgba, std::size_t count) const override {
        std::fill_n(rgba, count * 4, 1.0F);
    }
};

TEST(Pipeline, LeavesZerosWhereTheSourceHasNothing) {
    for (const Format format : {Format::CMYKA8, Format::RGBA8, Format::GreyA8, Format::LabA16}) {
        const DynamicBitmap source(3, 2, format);
        DynamicBitmap destination(8, 3, Format::CMYKA8);
        const PixelView view = destination.GetHostView();
        std::fill_n(view.pixels, view.stride * 3, std::byte{7});
        Pipeline<DynamicBitmap, DynamicBitmap>::Run(
            destination, source, nullptr, destination.GetBounds(),
            {.transform = Params::Translate(2, 1), .stages = {}});
        for (const Rect& around : {Rect{0, 0, 8, 1}, Rect{0, 1, 2, 3}, Rect{5, 1, 8, 3}}) {
            for (int y = around.top; y < around.bottom; ++y) {
                EXPECT_TRUE(std::all_of(view.At(around.left, y), view.At(around.right, y),
                                        [](std::byte byte) { return byte == std::byte{}; }))
                    << static_cast<int>(format);
            }
        }
        // Nor does a stage make something of nothing.
        std::fill_n(view.pixels, view.stride * 3, std::byte{7});
        Pipeline<DynamicBitmap, DynamicBitmap>::Run(destination, source, nullptr,
                                                    destination.GetBounds(),
                                                    {.transform = Params::Translate(2, 1),
                                                     .stages = {Kernel::MakeCounted<Lamp>()},
                                                     .blend = Blend::DestinationIn});
        EXPECT_EQ(destination.GetAlphaBoundingBox(), (Rect{2, 1, 5, 3}));
        for (const double far : {1e12, -1e12}) {
            Pipeline<DynamicBitmap, DynamicBitmap>::Run(
                destination, source, nullptr, destination.GetBounds(),
                {.transform = Params::Translate(far, 0), .stages = {}});
            EXPECT_TRUE(destination.GetAlphaBoundingBox().IsEmpty());
        }
    }
}

}  // namespace
}  // namespace Raster
