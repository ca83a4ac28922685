// A source with its rows and columns swapped.

#pragma once

#include "Raster/Spans.h"

namespace Raster {

/// Pixel (x, y) is pixel (y, x) of another source, which must outlive this.
class TransposedSource final : public SpanSource {
public:
    explicit TransposedSource(const SpanSource& source) noexcept
        : SpanSource(source.GetHeight(), source.GetWidth()), m_source(source) {}
    void Read(int x, int y, std::size_t count, float* rgba) const override;

private:
    const SpanSource& m_source;
};

}  // namespace Raster
