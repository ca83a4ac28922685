// Conversion of scanlines between two formats, for decoders and encoders.

#pragma once

#include "Raster/PixelFormat.h"
#include "Raster/SpanStage.h"

#include <cstddef>

namespace Raster {

class RowConverter {
public:
    /// `stages` are applied to the intermediate.
    RowConverter(const PixelFormat& from, const PixelFormat& to, SpanStages stages = {}) noexcept;
    /// With one stage, or none if it is null.
    RowConverter(const PixelFormat& from, const PixelFormat& to,
                 const Kernel::Counted<const SpanStage>& stage);

    const PixelFormat& GetSourceFormat() const noexcept { return m_from; }
    const PixelFormat& GetTargetFormat() const noexcept { return m_to; }
    /// Whether rows are copied unchanged.
    bool IsIdentity() const noexcept { return &m_from == &m_to && m_stages.empty(); }

    void Convert(const std::byte* source, std::byte* target, std::size_t width) const;

private:
    void ConvertSpans(const std::byte* source, std::byte* target, std::size_t width) const;

    const PixelFormat& m_from;
    const PixelFormat& m_to;
    SpanStages m_stages;
    BlockConverter m_direct = nullptr;  // null if there is no equivalent one
};

}  // namespace Raster
