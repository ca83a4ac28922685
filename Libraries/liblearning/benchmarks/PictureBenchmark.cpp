// What becomes of a picture on its way to the service, beside what other libraries do with it.
// Contenders for rendering tell how far they are from results that are computed in double.

#include "BitmapTransfer.h"
#include "remote/pictures/PictureText.h"
#include "remote/pictures/ServicePictures.h"

#include <algorithm>
#include <array>
#include <numbers>

namespace Learning {
namespace {

using PixelPeers::Bytes;
using PixelPeers::Contender;
using PixelPeers::Photo;
using PixelPeers::ReducedPhoto;
using PixelPeers::Run;
using PixelPeers::Size;
using PixelPeers::Task;

constexpr std::size_t Channels = 4;

/// A photograph, and room for what comes of it.
const Task& GetTask(Size from, Size to) {
    static std::vector<std::unique_ptr<Task>> tasks;
    for (const auto& task : tasks) {
        if (task->size.width == from.width && task->target.width == to.width) {
            return *task;
        }
    }
    tasks.emplace_back(
        new Task{from, to, PixelPeers::MakePhoto(from), Bytes(to.GetPixelCount() * Channels)});
    return *tasks.back();
}

/// The weight of what lies `distance` from the centre of a pixel of the result, whose width is 1.
using Filter = double (*)(double distance);

double Lanczos3(double distance) {
    const double angle = std::numbers::pi * distance;
    if (std::fabs(distance) >= 3) {
        return 0;
    }
    return distance == 0 ? 1 : 3 * std::sin(angle) * std::sin(angle / 3) / (angle * angle);
}

/// One axis of a reduction: the pixels of the source that make one of the result.
struct Taps {
    std::size_t first;
    std::vector<double> weights;
};

Taps MakeLanczosTaps(double step, std::size_t i, std::size_t from) {
    const double centre = (static_cast<double>(i) + 0.5) * step;
    const auto first = static_cast<std::size_t>(std::max(0.0, centre - 3 * step));
    const auto end = std::min(from, static_cast<std::size_t>(centre + 3 * step) + 1);
    Taps taps{first, {}};
    for (std::size_t k = first; k < end; ++k) {
        taps.weights.push_back(Lanczos3((static_cast<double>(k) + 0.5 - centre) / step));
    }
    return taps;
}

Taps MakeBoxTaps(double step, std::size_t i, std::size_t from) {
    const double start = static_cast<double>(i) * step;
    const auto first = static_cast<std::size_t>(start);
    Taps taps{first, {}};
    for (std::size_t k = first; k < from && static_cast<double>(k) < start + step; ++k) {
        taps.weights.push_back(std::min(start + step, static_cast<double>(k + 1)) -
                               std::max(start, static_cast<double>(k)));
    }
    return taps;
}

using MakeTaps = Taps (*)(double step, std::size_t i, std::size_t from);

/// `from` lines of `length` values, reduced to `to` lines.
std::vector<double> ReduceLines(const std::vector<double>& lines, std::size_t length,
                                std::size_t from, std::size_t to, MakeTaps makeTaps) {
    std::vector<double> reduced(length * to);
    for (std::size_t i = 0; i < to; ++i) {
        const Taps taps = makeTaps(static_cast<double>(from) / static_cast<double>(to), i, from);
        double sum = 0;
        for (const double weight : taps.weights) {
            sum += weight;
        }
        for (std::size_t k = 0; k < taps.weights.size(); ++k) {
            const double weight = taps.weights[k] / sum;
            const double* const line = &lines[(taps.first + k) * length];
            std::transform(line, line + length, &reduced[i * length], &reduced[i * length],
                           [=](double value, double mean) { return mean + weight * value; });
        }
    }
    return reduced;
}

/// Rows become columns.
std::vector<double> Transpose(const std::vector<double>& values, std::size_t width) {
    const std::size_t height = values.size() / width;
    std::vector<double> turned(values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        turned[i % width * height + i / width] = values[i];
    }
    return turned;
}

/// A channel of the task's picture, reduced exactly.
std::vector<double> ReduceExactly(const Task& task, std::size_t channel, MakeTaps makeTaps) {
    const auto width = static_cast<std::size_t>(task.size.width);
    const auto reducedHeight = static_cast<std::size_t>(task.target.height);
    std::vector<double> values(task.size.GetPixelCount());
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = task.source.As<std::uint8_t>()[i * Channels + channel];
    }
    values = ReduceLines(values, width, static_cast<std::size_t>(task.size.height), reducedHeight,
                         makeTaps);
    values = ReduceLines(Transpose(values, width), reducedHeight, width,
                         static_cast<std::size_t>(task.target.width), makeTaps);
    return Transpose(values, reducedHeight);
}

/// The exact result of the one task that is rendered, by channels.
using Exact = std::array<std::vector<double>, 3>;

Exact MakeExact(MakeTaps makeTaps) {
    const Task& task = GetTask(Photo, ReducedPhoto);
    return {ReduceExactly(task, 0, makeTaps), ReduceExactly(task, 1, makeTaps),
            ReduceExactly(task, 2, makeTaps)};
}

/// The peak signal-to-noise ratio of the task's destination, in dB.
double GetPSNR(const Task& task, const Exact& exact) {
    double squares = 0;
    for (std::size_t channel = 0; channel < exact.size(); ++channel) {
        for (std::size_t i = 0; i < exact[channel].size(); ++i) {
            // No result can have what Lanczos makes beyond the ends of the range.
            const double wanted = std::clamp(exact[channel][i], 0.0, 255.0);
            const double error =
                task.destination.As<std::uint8_t>()[i * Channels + channel] - wanted;
            squares += error * error;
        }
    }
    const double count = 3.0 * static_cast<double>(task.target.GetPixelCount());
    return 10 * std::log10(255.0 * 255.0 * count / squares);
}

/// Measures in processor time of all threads, and by the clock.
void Register(const std::string& name, const std::function<void(benchmark::State&)>& measure) {
    benchmark::RegisterBenchmark(name.c_str(), measure)
        ->UseRealTime()
        ->MeasureProcessCPUTime()
        ->Unit(benchmark::kMillisecond);
}

void AddRendering(const std::string& name, const Contender& contender) {
    Register("RenderForService/" + name, [contender](benchmark::State& state) {
        static const Exact means = MakeExact(MakeBoxTaps);
        static const Exact lanczos = MakeExact(MakeLanczosTaps);
        const Task& task = GetTask(Photo, ReducedPhoto);
        const Run run = contender(task);
        for (auto _ : state) {
            run.work();
        }
        if (run.deliver) {
            run.deliver();
        }
        state.counters["dB_to_means"] = GetPSNR(task, means);
        state.counters["dB_to_Lanczos"] = GetPSNR(task, lanczos);
    });
}

Run Render(const Task& task) {
    const auto source = LoadBitmap(task.source, task.size, Raster::Format::RGBA8);
    const auto transform = Raster::AffineTransform::Params::Scale(
        static_cast<double>(task.target.width) / task.size.width,
        static_cast<double>(task.target.height) / task.size.height);
    const auto rendered = std::make_shared<Picture>();
    return {[=, &task] {
                *rendered =
                    RenderForService(*source, {}, transform, task.target.width, task.target.height);
            },
            [=, &task] { StoreBitmap(**rendered, task.destination); }};
}

void Encode(benchmark::State& state) {
    const Task& task = GetTask(ReducedPhoto, ReducedPhoto);
    const auto picture = LoadBitmap(task.source, task.size, Raster::Format::RGBA8);
    Raster::ExportOptions options;
    options.SetQuality(70);
    std::size_t size = 0;
    for (auto _ : state) {
        size = EncodeAsText(picture->GetHostView(), options, nullptr).size();
    }
    state.counters["text"] = static_cast<double>(size);  // in bytes
}

bool AddAll() {
    Register("EncodeAsText/ours", Encode);
    AddRendering("ours", Render);
    for (const PixelPeers::Peer& peer : PixelPeers::GetPeers()) {
        if (peer.row == "RenderForService") {
            AddRendering(peer.name, peer.contender);
        } else if (peer.row == "WriteJPEG") {
            Register("EncodeAsText/" + peer.name, [peer](benchmark::State& state) {
                const Run run = peer.contender(GetTask(ReducedPhoto, ReducedPhoto));
                for (auto _ : state) {
                    run.work();
                }
            });
        }
    }
    return true;
}

// Deliberate: registered while the program starts, as BENCHMARK() does.
const bool IsAdded = AddAll();

}  // namespace
}  // namespace Learning
