// Converting rows of pixels between two formats, as files are read and written.

#pragma once

#include "Raster/PixelFormat.h"
#include "Raster/SpanStage.h"

#include <cstddef>

namespace Raster {

class RowConverter {
public:
    /// `stage`, if not null, changes the pixels on the way.
    RowConverter(const PixelFormat& from, const PixelFormat& to,
                 Kernel::Counted<const SpanStage> stage = nullptr) noexcept;

    const PixelFormat& GetSourceFormat() const noexcept { return m_from; }
    const PixelFormat& GetTargetFormat() const noexcept { return m_to; }
    /// Whether rows stay what they are.
    bool IsIdentity() const noexcept { return &m_from == &m_to && !m_stage; }

    void Convert(const std::byte* source, std::byte* target, std::size_t width) const;

private:
    void ConvertSpans(const std::byte* source, std::byte* target, std::size_t width) const;

    const PixelFormat& m_from;
    const PixelFormat& m_to;
    Kernel::Counted<const SpanStage> m_stage;
    BlockConverter m_direct = nullptr;  // null if there is none that does the same
};

}  // namespace Raster
