#include "Kernel/Dispatch.h"
#include "Raster/Compositing.h"

#include "spans/TileRows.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace Raster {

namespace {

/// Running sums, four numbers a pixel: premultiplied colours and alphas, scaled by the largest
/// sample value. Integer alphas make whole numbers, whose sums are exact: sliding the window leaves
/// no rounding error in them.
using Sums = std::vector<double>;

/// The data shared by all bands of a picture.
struct BoxContext {
    const SpanSource& source;
    SpanTarget& destination;
    int radius;
    float maximum;  // of a sample: 1 for floats
    const bool* abort;

    int GetWidth() const noexcept { return source.GetWidth(); }
};

/// A band has running sums of its own, so that bands are filtered in parallel.
struct BandJob {
    int top;
    int bottom;
    const BoxContext* context;
};

/// Enough rows to amortise the initial sums.
constexpr int MinimumBandHeight = 256;

class BoxBand {
public:
    explicit BoxBand(const BandJob& job)
        : m_job(job),
          m_context(*job.context),
          m_columns(static_cast<std::size_t>(m_context.GetWidth()) * 4),
          m_row(m_columns.size()) {}

    void Filter() {
        StartColumns();
        for (int y = m_job.top; y < m_job.bottom && !IsAborted(m_context.abort); ++y) {
            if (y > m_job.top) {
                AddRow(y - m_context.radius - 1, -1);
                AddRow(y + m_context.radius, 1);
            }
            FilterRow();
            WriteRow(y);
        }
    }

private:
    /// Initial sums: the window of the first row. Edge mode: clamp, edge rows count more than once.
    void StartColumns() {
        const int last = m_context.source.GetHeight() - 1;
        const long long from = static_cast<long long>(m_job.top) - m_context.radius;
        const long long to = static_cast<long long>(m_job.top) + m_context.radius;
        const int first = static_cast<int>(std::max(0LL, from));
        const int end = static_cast<int>(std::min<long long>(last, to));
        for (int y = first; y <= end && !IsAborted(m_context.abort); ++y) {
            const long long before = y == first ? first - from : 0;
            const long long after = y == end ? to - end : 0;
            AddRow(y, static_cast<double>(1 + before + after));
        }
    }

    /// Adds a row, premultiplied and times `times`, to the column sums.
    void AddRow(int y, double times) {
        const int from = std::clamp(y, 0, m_context.source.GetHeight() - 1);
        for (int x = 0; x < m_context.GetWidth(); x += TileWidth) {
            const int count = std::min(TileWidth, m_context.GetWidth() - x);
            ReadFinite(x, from, count);
            double* sum = m_columns.data() + std::ptrdiff_t{x} * 4;
            for (const float* pixel = m_span.rgba; pixel < m_span.At(count); pixel += 4) {
                AddPixel(pixel, times, sum);
                sum += 4;
            }
        }
    }

    void AddPixel(const float* pixel, double times, double* sum) const noexcept {
        if (pixel[3] > 0) {
            const double alpha = times * (pixel[3] * m_context.maximum);
            sum[0] += alpha * (pixel[0] * m_context.maximum);
            sum[1] += alpha * (pixel[1] * m_context.maximum);
            sum[2] += alpha * (pixel[2] * m_context.maximum);
            sum[3] += alpha;
        }
    }

    /// NaN and infinity would never leave the running sums. Only floats can be so.
    void ReadFinite(int x, int y, int count) {
        m_context.source.Read(x, y, static_cast<std::size_t>(count), m_span.rgba);
        if (m_context.maximum == 1) {
            const auto isNotFinite = [](float sample) { return !std::isfinite(sample); };
            std::replace_if(m_span.rgba, m_span.At(count), isNotFinite, 0.0F);
        }
    }

    /// The horizontal running sum: from column sums to the means of the squares.
    void FilterRow() {
        const int last = m_context.GetWidth() - 1;
        const auto column = [this, last](int x) {
            return m_columns.data() + std::ptrdiff_t{std::clamp(x, 0, last)} * 4;
        };
        const double size = 2.0 * m_context.radius + 1;
        const double share = 1 / (size * size);
        for (std::size_t channel = 0; channel < 4; ++channel) {
            double sum = column(0)[channel] * (m_context.radius + 1.0);
            for (int x = 1; x <= std::min(m_context.radius, last); ++x) {
                sum += column(x)[channel];
            }
            sum += column(last)[channel] * std::max(0, m_context.radius - last);
            for (int x = 0; x <= last; ++x) {
                if (x > 0) {
                    sum += column(x + m_context.radius)[channel] -
                           column(x - m_context.radius - 1)[channel];
                }
                m_row[static_cast<std::size_t>(x) * 4 + channel] = sum * share;
            }
        }
    }

    void WriteRow(int y) {
        for (int x = 0; x < m_context.GetWidth(); x += TileWidth) {
            const int count = std::min(TileWidth, m_context.GetWidth() - x);
            const double* mean = m_row.data() + std::ptrdiff_t{x} * 4;
            for (float* pixel = m_span.rgba; pixel < m_span.At(count); pixel += 4) {
                const bool isVisible = mean[3] > 0;
                const double whole = mean[3] * m_context.maximum;
                for (std::size_t channel = 0; channel < 3; ++channel) {
                    pixel[channel] = isVisible ? static_cast<float>(mean[channel] / whole) : 0;
                }
                pixel[3] = isVisible ? static_cast<float>(mean[3] / m_context.maximum) : 0;
                mean += 4;
            }
            m_context.destination.Write(x, y, static_cast<std::size_t>(count), m_span.rgba);
        }
    }

    const BandJob& m_job;
    const BoxContext& m_context;
    Sums m_columns;
    Sums m_row;
    RowBuffer m_span;
};

void FilterBand(const BandJob& job) {
    BoxBand(job).Filter();
}

std::vector<BandJob> MakeBands(const BoxContext& context) {
    const int height = context.source.GetHeight();
    const int step = std::max(MinimumBandHeight, 2 * context.radius);
    std::vector<BandJob> jobs;
    for (int top = 0; top < height; top += std::min(step, height - top)) {
        jobs.push_back({top, top + std::min(step, height - top), &context});
    }
    return jobs;
}

float GetMaximum(const PixelFormat& format) noexcept {
    return format.sampleSize == 1 ? 255.0F : format.sampleSize == 2 ? 65535.0F : 1.0F;
}

}  // namespace

Kernel::Counted<DynamicBitmap> BoxFilter(const DynamicBitmap& source, int radius, bool* abort) {
    radius = std::min(radius, std::max(source.GetWidth(), source.GetHeight()));
    if (radius <= 0 || source.GetBounds().IsEmpty()) {
        return source.Clone(abort);
    }
    source.SyncHostCache(nullptr, false, abort);
    auto result = source.CloneEmpty();
    const ViewSource from(source.GetHostView());
    ViewTarget to(result->GetHostView());
    const BoxContext context{from, to, radius, GetMaximum(source.GetPixelFormat()), abort};
    auto jobs = MakeBands(context);
    Kernel::Dispatch::DispatchParallelFor(FilterBand, jobs.size(), jobs.data(),
                                          Kernel::Dispatch::Priority::Normal,
                                          Kernel::Dispatch::ThreadPurpose::Pixels, 0);
    return IsAborted(abort) ? nullptr : result;
}

}  // namespace Raster
