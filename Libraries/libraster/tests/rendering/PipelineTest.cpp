#include "Raster/DynamicBitmap.h"
#include "Raster/ModelBase.h"
#include "Raster/Pipeline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

namespace Raster {
namespace {

using Params = AffineTransform::Params;
constexpr double Infinite = std::numeric_limits<double>::infinity();
constexpr int Most = std::numeric_limits<int>::max();

TEST(AffineTransform, ComposesAndInverts) {
    const Params turn{0, -1, 1, 0, 10, 20};
    const Params both = turn.Compose(Params::Scale(2, 4));
    EXPECT_EQ(both.Map({3, 5}), turn.Map({6, 20}));
    const Params skew{1.5, 0.25, -0.5, 3, 7, -9};
    const auto there = skew.Invert()->Map(skew.Map({11, -13}));
    EXPECT_NEAR(there.x, 11, 1e-12);
    EXPECT_NEAR(there.y, -13, 1e-12);
    for (const Params& hopeless :
         {Params{1, 2, 2, 4, 0, 0}, Params{0, 0, 0, 0, 0, 0}, Params{NAN, 0, 0, 1, 0, 0},
          Params{1, 0, 0, 1, Infinite, 0}, Params{1e-200, 0, 0, 1e-200, 0, 0},
          Params{1e-10, 0, 0, 1, 1e308, 0}}) {
        EXPECT_FALSE(hopeless.Invert());
        EXPECT_FALSE(IsPossible({.transform = hopeless, .stages = {}}));
    }
}

TEST(AffineTransform, MapsRectanglesOutwardsButForgivesRounding) {
    const Params third = Params::MapRect({0, 0, 3, 3}, {0, 0, 1, 2});
    EXPECT_EQ(third.MapRect(Rect{0, 0, 3, 3}), (Rect{0, 0, 1, 2}));
    EXPECT_EQ(third.MapRect(Rect{-1, -1, 4, 4}), (Rect{-1, -1, 2, 3}));
    EXPECT_EQ(Params::Translate(1e-7, -1e-7).MapRect(Rect{1, 1, 2, 2}), (Rect{1, 1, 2, 2}));
    EXPECT_EQ(Params::Translate(1e-5, 0).MapRect(Rect{1, 1, 2, 2}), (Rect{1, 1, 3, 2}));
    EXPECT_EQ(Params::Scale(1e300, -1e300).MapRect(Rect{-1, -1, 1, 1}),
              (Rect{-Most - 1, -Most - 1, Most, Most}));
    EXPECT_EQ(Params::Scale(1, 1).MapRect(Rect{5, 5, 5, 9}), Rect{});
    EXPECT_EQ((Params{NAN, 0, 0, 1, 0, 0}).MapRect(Rect{0, 0, 1, 1}), Rect{});
    EXPECT_THROW(Params::MapRect({0, 0, 0, 1}, {0, 0, 1, 1}), std::invalid_argument);
    EXPECT_THROW(Params::MapRect({0, 0, 1, 1}, {0, 0, Infinite, 1}), std::invalid_argument);
}

/// Gives each pixel its coordinates, and remembers what it was asked for.
class Recorder : public SpanSource {
public:
    struct Span {
        int x;
        int y;
        std::size_t count;
        std::thread::id thread;
    };

    using SpanSource::SpanSource;
    void Read(int x, int y, std::size_t count, float* rgba) const override {
        for (std::size_t i = 0; i < count; ++i) {
            const float pixel[4] = {static_cast<float>(x) + static_cast<float>(i),
                                    static_cast<float>(y), 0.5F, 1};
            std::copy_n(pixel, 4, rgba + i * 4);
        }
        const std::scoped_lock lock(m_mutex);
        m_spans.push_back({x, y, count, std::this_thread::get_id()});
        if (onRead) {
            onRead();
        }
    }
    const std::vector<Span>& GetSpans() const { return m_spans; }

    std::function<void()> onRead;

private:
    mutable std::mutex m_mutex;
    mutable std::vector<Span> m_spans;
};

struct FloatPicture {
    FloatPicture(int width, int height)
        : pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4, -1.0F),
          target({reinterpret_cast<std::byte*>(pixels.data()), std::ptrdiff_t{16} * width, width,
                  height, &GetPixelFormat(Format::RGBAF)}) {}
    const float* At(int x, int y) { return reinterpret_cast<float*>(target.GetView()->At(x, y)); }

    std::vector<float> pixels;
    ViewTarget target;
};

TEST(HostPath, DoesOneTileOnTheCallingThread) {
    const Recorder source(1000, 1000);
    FloatPicture picture(1000, 1000);
    const Rendering plain;
    // 100 by 100 anywhere within a tile, not only at its corner.
    RunHostPath({&source, &picture.target, nullptr, &plain, nullptr}, {140, 260, 240, 360});
    ASSERT_EQ(source.GetSpans().size(), 100U);
    for (const auto& span : source.GetSpans()) {
        EXPECT_EQ(span.thread, std::this_thread::get_id());
    }
}

TEST(HostPath, CutsTilesOnAGridAndWritesNothingBeside) {
    constexpr Rect Part{100, 250, 400, 530};
    const Recorder source(500, 600);
    FloatPicture picture(500, 600);
    const Rendering plain;
    RunHostPath({&source, &picture.target, nullptr, &plain, nullptr}, Part);
    std::set<std::pair<int, std::size_t>> columns;
    for (const auto& span : source.GetSpans()) {
        columns.insert({span.x, span.count});
    }
    EXPECT_EQ(columns, (std::set<std::pair<int, std::size_t>>{
                           {100, 28}, {128, 128}, {256, 128}, {384, 16}}));
    EXPECT_EQ(source.GetSpans().size(), 4U * 280U);
    for (int y = 0; y < 600; ++y) {
        for (int x = 0; x < 500; ++x) {
            const bool isInside = !Part.Intersect({x, y, x + 1, y + 1}).IsEmpty();
            ASSERT_EQ(picture.At(x, y)[0], isInside ? static_cast<float>(x) : -1) << x << ' ' << y;
            ASSERT_EQ(picture.At(x, y)[1], isInside ? static_cast<float>(y) : -1) << x << ' ' << y;
        }
    }
}

TEST(HostPath, ConvertsManyTilesWithoutTheIntermediate) {
    constexpr Rect Part{100, 250, 2550, 690};
    DynamicBitmap source(2500, 600, Format::RGBA8);
    for (int y = 0; y < 600; ++y) {
        std::generate_n(source.GetHostView().At(0, y), 2500 * 4,
                        [n = y]() mutable { return static_cast<std::byte>(n++ * 7); });
    }
    for (const auto& shift : {Params::Translate(0, 0), Params::Translate(90, -13)}) {
        const auto dx = static_cast<int>(shift.dx);
        const auto dy = static_cast<int>(shift.dy);
        DynamicBitmap destination(2600, 700, Format::RGBA16);
        std::fill_n(destination.GetHostView().At(0, 0), destination.GetHostView().stride * 700,
                    std::byte{1});
        ViewTarget target(destination.GetHostView());
        const ViewSource from(source.GetHostView());
        CopyTally tally;
        const Rendering rendering{.transform = shift, .stages = {}, .tally = &tally};
        RunHostPath({&from, &target, nullptr, &rendering, nullptr}, Part);
        const Rect covered = Part.Intersect({dx, dy, 2500 + dx, 600 + dy});
        const auto expected = [&](int x, int y) {
            if (Part.Intersect({x, y, x + 1, y + 1}).IsEmpty()) {
                return 0x101;  // as it was
            }
            return covered.Intersect({x, y, x + 1, y + 1}).IsEmpty()
                       ? 0
                       : static_cast<std::uint8_t>((y - dy + 4 * (x - dx)) * 7) * 0x101;
        };
        for (int y = 0; y < 700; ++y) {
            const auto* row =
                reinterpret_cast<const std::uint16_t*>(destination.GetHostView().At(0, y));
            for (int x = 0; x < 2600; ++x) {
                ASSERT_EQ(row[x * 4], expected(x, y)) << x << ' ' << y;
            }
        }
        EXPECT_EQ(tally.transparent + tally.translucent + tally.opaque,
                  covered.GetWidth() * covered.GetHeight());
    }
}

TEST(HostPath, EndsOnceAbortedAndPassesExceptionsOn) {
    for (const Rect& rect : {Rect{0, 0, 100, 100}, Rect{0, 0, 300, 300}}) {
        FloatPicture picture(300, 300);
        const Rendering plain;
        bool abort = false;
        Recorder source(300, 300);
        source.onRead = [&abort] { std::atomic_ref(abort).store(true); };
        RunHostPath({&source, &picture.target, nullptr, &plain, &abort}, rect);
        EXPECT_LE(source.GetSpans().size(), 1 + std::thread::hardware_concurrency());
        source.onRead = [] { throw std::runtime_error("no pixels"); };
        EXPECT_THROW(RunHostPath({&source, &picture.target, nullptr, &plain, nullptr}, rect),
                     std::runtime_error);
    }
}

/// Writes down what a run asks of it, and sets the abort flag once `end` is reached.
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
    }
}

}  // namespace
}  // namespace Raster
