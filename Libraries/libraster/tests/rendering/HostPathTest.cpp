#include "Raster/DynamicBitmap.h"
#include "Raster/Rendering.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

namespace Raster {
namespace {

using Params = AffineTransform::Params;

/// A source whose pixels are their coordinates, which records the spans read.
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
                return 0x101;  // unchanged
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

}  // namespace
}  // namespace Raster
