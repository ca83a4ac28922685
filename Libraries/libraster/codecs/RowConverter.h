// Conversion of scanlines between two formats, for decoders and encoders.

#pragma once

#include "Raster/ColourConversion.h"
#include "Raster/PixelFormat.h"
#include "Raster/SpanStage.h"

#include <cstddef>

namespace Raster {

class RowConverter {
public:
    /// `stages` are applied to the intermediate. `reader`, unless null, replaces the rules of the
    /// source's format.
    RowConverter(const PixelFormat& from, const PixelFormat& to, SpanStages stages = {},
                 Kernel::Counted<const SpanCodec> reader = nullptr) noexcept;
    /// `colours` is possible.
    RowConverter(const PixelFormat& from, const PixelFormat& to, const ColourConversion& colours);

    const PixelFormat& GetSourceFormat() const noexcept { return m_from; }
    const PixelFormat& GetTargetFormat() const noexcept { return m_to; }
    /// Whether rows are copied unchanged.
    bool IsIdentity() const noexcept { return &m_from == &m_to && IsPlain(); }

    void Convert(const std::byte* source, std::byte* target, std::size_t width) const;

private:
    bool IsPlain() const noexcept { return m_stages.empty() && !m_reader && !m_writer; }
    void ConvertSpans(const std::byte* source, std::byte* target, std::size_t width) const;

    const PixelFormat& m_from;
    const PixelFormat& m_to;
    SpanStages m_stages;
    Kernel::Counted<const SpanCodec> m_reader;  // in place of the formats' rules, unless null
    Kernel::Counted<const SpanCodec> m_writer{};
    BlockConverter m_direct = nullptr;  // null if there is no equivalent one
    bool m_isForStage = false;          // which has a way of its own
};

}  // namespace Raster
