// What the pixel benchmarks share: rows, each one kind of work on given pictures, and the ways to
// do it.

#pragma once

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace PixelPeers {

/// Memory that starts on a cache line. All its pages are touched, and it is padded for the store of
/// a whole vector at its end.
class Bytes {
public:
    explicit Bytes(std::size_t size);

    std::size_t GetSize() const noexcept { return m_size; }
    /// The bytes as samples, writable even through a const reference.
    template <class Sample>
    Sample* As() const noexcept {
        return reinterpret_cast<Sample*>(m_bytes.get());
    }

private:
    std::size_t m_size;
    std::unique_ptr<std::byte, void (*)(void*)> m_bytes;
};

struct Size {
    int width = 0;
    int height = 0;

    std::size_t GetPixelCount() const noexcept {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    }
};
inline constexpr Size Large{4096, 3072};  // far beyond the caches
inline constexpr Size Small{1024, 1024};
inline constexpr Size Tiny{100, 100};  // shows the overhead of a call
inline constexpr Size Photo{4000, 3000};
inline constexpr Size ReducedPhoto{1536, 1152};

/// One size of a row. Rows of pixels are contiguous; destinations are written.
struct Task {
    Size size;
    Size target;  // of the destination
    Bytes source;
    Bytes destination;
};

/// One kind of work.
struct Row {
    std::string name;
    std::vector<Size> sizes;
    std::function<Bytes(Size)> makeSource;
    std::size_t destinationPixelSize;
    /// The largest difference of the destination from the definition. May be empty.
    std::function<double(const Task&)> getDifference{};
    double tolerance = 0;  // the difference that still counts as exact
    Size target{};         // by default the size of the source
};

/// What a contender does with a task.
struct Run {
    std::function<void()> work;
    /// Copies the result to the task's destination, unless work() does.
    std::function<void()> deliver{};
};
using Contender = std::function<Run(const Task&)>;

/// A contender that works from the task's source into its destination.
template <class Work>
Contender InPlace(Work work) {
    return [work](const Task& task) { return Run{[work, &task] { work(task); }}; };
}

/// Another library's, or a hand-written, contender for the row of that name.
struct Peer {
    std::string name;
    std::string row;
    Contender contender;
};
/// The peers that were installed when this was built. CMake writes this function.
std::vector<Peer> GetPeers();

/// Registers the cases "row/contender/size/threads" of our library, unless `ours` is empty, and of
/// all peers; returns true. One thread is to be judged by processor time, more by the clock.
bool AddRow(Row row, const Contender& ours);

/// The row of that name, which is one of those below. Throws std::invalid_argument for another.
Row GetRow(const std::string& name);
/// Conversions, "RGBA8ToRGBAF", checked against their scalar definitions, and a plain copy, which
/// shows the memory bandwidth.
std::vector<Row> MakeConversionRows();
/// Downscaling, upscaling and turning of a photograph, and bounding boxes of visible pixels.
std::vector<Row> MakeRenderingRows();
/// From sRGB to the profile of MakeWideProfile(), checked against lcms2's floats.
std::vector<Row> MakeColourRows();

/// How many processors this process may use.
int GetThreadCount();
/// Calls `work(first, last)` for parts of `count` pixels, on as many threads.
void Split(std::size_t count, const std::function<void(std::size_t, std::size_t)>& work);

/// Every value of a sample, -0.1 to 1.1 for floats, in no order.
template <class Sample>
Bytes MakeNoise(std::size_t count);
/// RGBA8 that looks like a photograph to codecs and filters: detail of all sizes, hard edges,
/// grain.
Bytes MakePhoto(Size size);
/// The same under a disc of alpha with a soft edge.
Bytes MakeCutout(Size size);
/// An RGB profile of wider primaries than sRGB's and a gamma of 2.2, in the format of ICC.
std::vector<std::byte> MakeWideProfile();

/// One axis of a reduction to means of areas: for each pixel of the destination the first one of
/// the source and the weights of `count` from there.
struct Shares {
    Shares(int from, int to);
    const float* GetWeights(std::size_t i) const noexcept { return &weights[i * count]; }

    std::size_t count;
    std::vector<std::size_t> starts;
    std::vector<float> weights;
};

/// From the source to the destination: (x, y) goes to (xx x + xy y + dx, yx x + yy y + dy).
struct PlaneMap {
    double xx;
    double xy;
    double yx;
    double yy;
    double dx;
    double dy;
};
/// The map of a row that turns by 30 degrees about the centres, and scales.
PlaneMap MakeTurn(double scale, Size from, Size to);
/// Those rows, and their scales.
struct TurnRow {
    const char* name;
    double scale;
};
inline constexpr TurnRow TurnRows[] = {
    {"Turn", 1}, {"TurnToHalf", 0.5}, {"TurnNearlyWhole", 0.995}};

template <class Sample>
double GetMaximumDifference(const Sample* got, const Sample* expected, std::size_t count) {
    double worst = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const double difference =
            std::fabs(static_cast<double>(got[i]) - static_cast<double>(expected[i]));
        worst = difference <= worst ? worst : difference;  // NaN is worst
    }
    return worst;
}

}  // namespace PixelPeers
