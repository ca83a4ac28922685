#include "Kernel/Dispatch.h"
#include "Raster/Compositing.h"

#include "spans/TileRows.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <vector>

namespace Raster {

namespace {

/// Four numbers a pixel: premultiplied colours and alphas, scaled by the largest sample value.
using Sums = std::vector<double>;

/// Running sums from which what has been added can be taken away again without a trace: numbers are
/// rounded to a grid so coarse that all sums of a window are exact. Floats need a second sum, for
/// what the first grid leaves of them.
class ColumnSums {
public:
    /// `largest` is a power of two, as the exponent: no number may be above it.
    ColumnSums(std::size_t count, int radius, int largest, bool isTwofold)
        : m_sums(count), m_rests(isTwofold ? count : 0) {
        constexpr int Digits = std::numeric_limits<double>::digits - 1;
        const int windowBits =
            static_cast<int>(std::bit_width(2U * static_cast<unsigned>(radius) + 1));
        const int coarse = largest + windowBits - Digits;
        m_toGrid = MakeGrid(coarse);
        m_toFineGrid = MakeGrid(coarse - 1 + windowBits - Digits);
    }

    void Add(std::size_t index, double number, double times) noexcept {
        const double whole = number + m_toGrid - m_toGrid;
        m_sums[index] += times * whole;
        if (!m_rests.empty()) {
            m_rests[index] += times * (number - whole + m_toFineGrid - m_toFineGrid);
        }
    }
    double Get(std::size_t index) const noexcept {
        return m_rests.empty() ? m_sums[index] : m_sums[index] + m_rests[index];
    }

private:
    /// What rounds a number to a multiple of 2 to the power of `exponent` when it is added: the
    /// sum has no digits below that.
    static double MakeGrid(int exponent) noexcept {
        return std::ldexp(1.5, exponent + std::numeric_limits<double>::digits - 1);
    }

    Sums m_sums;
    Sums m_rests;
    double m_toGrid;
    double m_toFineGrid;
};

/// The data shared by all bands of a picture.
struct BoxContext {
    const SpanSource& source;
    SpanTarget& destination;
    int radius;
    float maximum;  // of a sample: 1 for floats
    const bool* abort;

    bool IsFloat() const noexcept { return maximum == 1; }
    /// The exponent of two of the largest premultiplied sample.
    int GetLargest() const noexcept { return IsFloat() ? 24 : maximum > 255 ? 32 : 16; }
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
          m_sums(static_cast<std::size_t>(m_context.GetWidth()) * 4, m_context.radius,
                 m_context.GetLargest(), m_context.IsFloat()),
          m_reach(std::min(m_context.radius, m_context.GetWidth())),
          m_prefixes(static_cast<std::size_t>(m_context.GetWidth() + 2 * m_reach) * 4),
          m_suffixes(m_prefixes.size()),
          m_row(static_cast<std::size_t>(m_context.GetWidth()) * 4) {}

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
            auto index = static_cast<std::size_t>(x) * 4;
            for (const float* pixel = m_span.rgba; pixel < m_span.At(count); pixel += 4) {
                AddPixel(pixel, times, index);
                index += 4;
            }
        }
    }

    void AddPixel(const float* pixel, double times, std::size_t index) noexcept {
        if (pixel[3] > 0) {
            const double limit = std::ldexp(1.0, m_context.GetLargest());
            const double alpha = std::min(limit, double{pixel[3]} * m_context.maximum);
            for (std::size_t c = 0; c < 3; ++c) {
                const double colour = alpha * (double{pixel[c]} * m_context.maximum);
                m_sums.Add(index + c, std::clamp(colour, -limit, limit), times);
            }
            m_sums.Add(index + 3, alpha, times);
        }
    }

    /// NaN and infinity would never leave the running sums. Only floats can be so.
    void ReadFinite(int x, int y, int count) {
        m_context.source.Read(x, y, static_cast<std::size_t>(count), m_span.rgba);
        if (m_context.IsFloat()) {
            const auto isNotFinite = [](float sample) { return !std::isfinite(sample); };
            std::replace_if(m_span.rgba, m_span.At(count), isNotFinite, 0.0F);
        }
    }

    /// From column sums to the means of the squares. Windows are as long as the blocks whose sums
    /// from the start and to the end are kept, so each consists of two such sums: nothing has to be
    /// taken away again.
    void FilterRow() {
        const int last = m_context.GetWidth() - 1;
        const int length = 2 * m_reach + 1;
        const int padded = m_context.GetWidth() + 2 * m_reach;
        for (int i = 0; i < padded; ++i) {
            Accumulate(m_prefixes, i, i % length == 0 ? i : i - 1);
        }
        for (int i = padded - 1; i >= 0; --i) {
            Accumulate(m_suffixes, i, i == padded - 1 || i % length == length - 1 ? i : i + 1);
        }
        const double size = 2.0 * m_context.radius + 1;
        const double share = 1 / (size * size);
        for (int x = 0; x <= last; ++x) {
            // Edge mode: clamp, edge columns count more than once.
            const double before = std::max(0, m_context.radius - x);
            const double after = std::max(0, m_context.radius - (last - x));
            for (std::size_t c = 0; c < 4; ++c) {
                const double inside = At(m_suffixes, x)[c] +
                                      (x % length == 0 ? 0 : At(m_prefixes, x + length - 1)[c]);
                const double edges = before * m_sums.Get(c) +
                                     after * m_sums.Get(static_cast<std::size_t>(last) * 4 + c);
                At(m_row, x)[c] = (inside + edges) * share;
            }
        }
    }

    static double* At(Sums& sums, int x) noexcept { return sums.data() + std::ptrdiff_t{x} * 4; }

    /// The sums of padded column `i`, which is 0 beyond the picture, and those before, unless that
    /// is itself.
    void Accumulate(Sums& sums, int i, int before) noexcept {
        const int x = i - m_reach;
        const bool isInside = x >= 0 && x < m_context.GetWidth();
        for (std::size_t c = 0; c < 4; ++c) {
            const double own = isInside ? m_sums.Get(static_cast<std::size_t>(x) * 4 + c) : 0;
            At(sums, i)[c] = before == i ? own : own + At(sums, before)[c];
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
    ColumnSums m_sums;
    int m_reach;  // the radius, limited to the width
    Sums m_prefixes;
    Sums m_suffixes;
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
