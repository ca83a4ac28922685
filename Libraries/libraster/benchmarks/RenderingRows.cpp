#include "PixelRows.h"

#include <algorithm>
#include <array>

namespace PixelPeers {

namespace {

/// One axis after the other: the mean of the area that is pixel (column, row), premultiplied.
std::array<double, 4> DefineMean(const Task& task, const Shares& columns, std::size_t column,
                                 const Shares& rows, std::size_t row) {
    std::array<double, 4> sum{};
    for (std::size_t k = 0; k < rows.count * columns.count; ++k) {
        const std::size_t x = columns.starts[column] + k % columns.count;
        const std::size_t y = rows.starts[row] + k / columns.count;
        const std::uint8_t* const pixel = task.source.As<std::uint8_t>() +
                                          (y * static_cast<std::size_t>(task.size.width) + x) * 4;
        const double alpha = static_cast<double>(rows.GetWeights(row)[k / columns.count]) *
                             columns.GetWeights(column)[k % columns.count] * pixel[3];
        for (std::size_t c = 0; c < 3; ++c) {
            sum[c] += alpha * pixel[c];
        }
        sum[3] += alpha;
    }
    return sum;
}

/// The root mean square distance from the means of areas, in levels. Rounding alone makes 0.29.
double CompareMeans(const Task& task) {
    const Shares rows(task.size.height, task.target.height);
    const Shares columns(task.size.width, task.target.width);
    const auto width = static_cast<std::size_t>(task.target.width);
    double squares = 0;
    std::size_t count = 0;
    for (std::size_t i = 0; i < task.target.GetPixelCount(); ++i) {
        const auto mean = DefineMean(task, columns, i % width, rows, i / width);
        const std::uint8_t* const got = task.destination.As<std::uint8_t>() + i * 4;
        // A transparent pixel has no colour; alpha is compared where it varies.
        const std::size_t end = mean[3] < 254.5 ? 4 : 3;
        for (std::size_t c = mean[3] < 0.5 ? 3 : 0; c < end; ++c, ++count) {
            const double distance = got[c] - (c < 3 ? mean[c] / mean[3] : mean[3]);
            squares += distance * distance;
        }
    }
    return std::sqrt(squares / static_cast<double>(count));
}

Row MakeReduction(const char* name, Bytes (*makeSource)(Size)) {
    return {name, {Photo}, makeSource, 4, CompareMeans, 0.35, ReducedPhoto};
}

/// Kernels of an offset of 0 or more, in units of a filter.
double GetTriangle(double x) {
    return std::max(0.0, 1 - x);
}
double GetCubic(double x) {  // Keys' of -0.5
    return x < 1 ? 1 + x * x * (1.5 * x - 2.5) : x < 2 ? 2 + x * (x * (2.5 - 0.5 * x) - 4) : 0;
}
double GetLanczos(double x) {
    const auto sinc = [](double at) {
        return at == 0 ? 1 : std::sin(std::acos(-1) * at) / (std::acos(-1) * at);
    };
    return x < 3 ? sinc(x) * sinc(x / 3) : 0;
}

struct Filter {
    double (*kernel)(double);
    double radius;
};
constexpr Filter Triangle{GetTriangle, 1};
constexpr Filter Cubic{GetCubic, 2};
constexpr Filter Lanczos{GetLanczos, 3};

/// The taps of a filter around a point on an axis that shrinks by a factor, those inside a source.
struct AxisTaps {
    AxisTaps(const Filter& filter, double centre, double shrinking, int size) {
        const double unit = std::max(1.0, shrinking);
        const double reach = unit * filter.radius;
        first = std::max(0, static_cast<int>(std::floor(centre - reach - 0.5)));
        const int last = std::min(size - 1, static_cast<int>(centre + reach));
        for (int k = first; k <= last; ++k) {
            weights.push_back(filter.kernel(std::fabs(k + 0.5 - centre) / unit));
        }
    }

    int first;
    std::vector<double> weights;
};

/// A filtered pixel of an opaque picture in levels, around a point of the source.
std::array<double, 3> DefineFiltered(const Task& task, const AxisTaps& columns,
                                     const AxisTaps& rows) {
    std::array<double, 3> sum{};
    double whole = 0;
    for (std::size_t row = 0; row < rows.weights.size(); ++row) {
        for (std::size_t column = 0; column < columns.weights.size(); ++column) {
            const double weight = rows.weights[row] * columns.weights[column];
            const auto y = static_cast<std::size_t>(rows.first) + row;
            const auto x = static_cast<std::size_t>(columns.first) + column;
            const std::uint8_t* const pixel =
                task.source.As<std::uint8_t>() +
                (y * static_cast<std::size_t>(task.size.width) + x) * 4;
            for (std::size_t c = 0; c < 3; ++c) {
                sum[c] += weight * pixel[c];
            }
            whole += weight;
        }
    }
    for (double& level : sum) {
        level = std::clamp(level / whole, 0.0, 255.0);
    }
    return sum;
}

/// The root mean square distance, in levels, from a filter by its definition: a kernel along each
/// axis of the source, wider where the picture shrinks. Of a few pixels; where the picture turns,
/// away from its edges.
double CompareFiltered(const Task& task, const Filter& filter, const PlaneMap& map) {
    constexpr int Step = 37;
    const bool isTurned = map.xy != 0;
    const double margin = isTurned ? 4 : 0;
    const double area = map.xx * map.yy - map.xy * map.yx;
    double squares = 0;
    int count = 0;
    for (std::size_t i = 0; i < task.target.GetPixelCount(); i += Step) {
        const auto width = static_cast<std::size_t>(task.target.width);
        const double right = static_cast<double>(i % width) + 0.5 - map.dx;
        const double down = static_cast<double>(i / width) + 0.5 - map.dy;
        const double x = (map.yy * right - map.xy * down) / area;
        const double y = (map.xx * down - map.yx * right) / area;
        if (x < margin || y < margin || x > task.size.width - margin ||
            y > task.size.height - margin) {
            continue;
        }
        const auto expected = DefineFiltered(
            task, AxisTaps(filter, x, 1 / std::hypot(map.xx, map.yx), task.size.width),
            AxisTaps(filter, y, 1 / std::hypot(map.xy, map.yy), task.size.height));
        for (std::size_t c = 0; c < 3; ++c, ++count) {
            const double distance = task.destination.As<std::uint8_t>()[i * 4 + c] - expected[c];
            squares += distance * distance;
        }
    }
    return std::sqrt(squares / count);
}

Row MakeResampling(const char* name, Size from, Size to, const Filter& filter) {
    const PlaneMap map{1.0 * to.width / from.width, 0, 0, 1.0 * to.height / from.height, 0, 0};
    return {name,
            {from},
            MakePhoto,
            4,
            [=](const Task& task) { return CompareFiltered(task, filter, map); },
            0.35,
            to};
}

/// The bounding box of a disc of that radius: left, top, and the pixel after right and bottom.
Row MakeBox(const char* name, int radius) {
    constexpr int X = 2000;
    constexpr int Y = 1500;
    const auto makeSource = [=](Size size) {
        Bytes source(size.GetPixelCount() * 4);
        std::uint8_t* alpha = source.As<std::uint8_t>() + 3;
        for (int y = -Y; y < size.height - Y; ++y) {
            for (int x = -X; x < size.width - X; ++x, alpha += 4) {
                *alpha = x * x + y * y < radius * radius ? 255 : 0;
            }
        }
        return source;
    };
    const auto getDifference = [=](const Task& task) {
        const std::array<int, 4> box{std::max(0, X - radius + 1), std::max(0, Y - radius + 1),
                                     std::min(task.size.width, X + radius),
                                     std::min(task.size.height, Y + radius)};
        const std::array<int, 4> expected = radius == 0 ? std::array<int, 4>{} : box;
        return GetMaximumDifference(task.destination.As<int>(), expected.data(), expected.size());
    };
    return {name, {Large}, makeSource, sizeof(int), getDifference, 0, {4, 1}};
}

}  // namespace

Shares::Shares(int from, int to) : count(static_cast<std::size_t>(from / to) + 2) {
    const double step = static_cast<double>(from) / to;
    for (int i = 0; i < to; ++i) {
        const double start = i * step;
        const double end = std::min<double>(from, start + step);
        const int last = std::max(0, from - static_cast<int>(count));
        const int first = std::min(static_cast<int>(start), last);
        starts.push_back(static_cast<std::size_t>(first));
        for (int k = first; k < first + static_cast<int>(count); ++k) {
            const double share = std::min(end, k + 1.0) - std::max<double>(start, k);
            weights.push_back(static_cast<float>(std::max(0.0, share) / step));
        }
    }
}

PlaneMap MakeTurn(double scale, Size from, Size to) {
    const double angle = std::acos(-1) / 6;
    const double along = scale * std::cos(angle);
    const double across = scale * std::sin(angle);
    return {along,
            -across,
            across,
            along,
            (to.width - along * from.width + across * from.height) / 2,
            (to.height - across * from.width - along * from.height) / 2};
}

std::vector<Row> MakeRenderingRows() {
    std::vector<Row> rows{MakeReduction("ReduceArea", MakePhoto),
                          MakeReduction("ReduceAreaOfCutout", MakeCutout),
                          MakeResampling("ReduceBicubic", Photo, ReducedPhoto, Cubic),
                          MakeResampling("ReduceLanczos", Photo, ReducedPhoto, Lanczos),
                          MakeResampling("EnlargeBicubic", ReducedPhoto, Photo, Cubic),
                          MakeResampling("EnlargeLanczos", ReducedPhoto, Photo, Lanczos),
                          MakeBox("AlphaBoxOfNothing", 0),
                          MakeBox("AlphaBoxOfIsland", 700),
                          MakeBox("AlphaBoxOfAll", 5000)};
    for (const auto& [name, scale] : TurnRows) {
        const Size target = scale == 0.5 ? Size{2000, 1500} : Photo;
        const PlaneMap map = MakeTurn(scale, Photo, target);
        const auto compare = [=](const Task& task) { return CompareFiltered(task, Triangle, map); };
        rows.push_back({name, {Photo}, MakePhoto, 4, compare, 1.5, target});
    }
    return rows;
}

}  // namespace PixelPeers
