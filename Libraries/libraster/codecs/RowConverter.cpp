#include "codecs/RowConverter.h"

#include "Raster/Spans.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Raster {

RowConverter::RowConverter(const PixelFormat& from, const PixelFormat& to, SpanStages stages,
                           Kernel::Counted<const SpanCodec> reader) noexcept
    : m_from(from), m_to(to), m_stages(std::move(stages)), m_reader(std::move(reader)) {
    for (const DirectConversion& conversion : to.directConversions) {
        if (IsPlain() && conversion.source == &from) {
            m_direct = conversion.convert;
        }
    }
}

RowConverter::RowConverter(const PixelFormat& from, const PixelFormat& to,
                           const ColourConversion& colours)
    : RowConverter(from, to, colours.stage ? SpanStages{colours.stage} : SpanStages{},
                   colours.reader) {
    m_writer = colours.writer;
    m_direct = IsPlain() ? m_direct : nullptr;
    const PixelFormat* const bytes = &GetPixelFormat(Format::RGBA8);
    m_isForStage = &from == bytes && &to == bytes && !m_reader && !m_writer && colours.stage &&
                   colours.stage->HasByteWay();
}

void RowConverter::Convert(const std::byte* source, std::byte* target, std::size_t width) const {
    if (IsIdentity()) {
        std::memcpy(target, source, width * m_to.GetPixelSize());
    } else if (m_direct != nullptr) {
        m_direct({source, 0}, {target, 0}, width, 1, false);
    } else if (m_isForStage) {
        m_stages.front()->ConvertBytes(source, target, width);
    } else {
        ConvertSpans(source, target, width);
    }
}

void RowConverter::ConvertSpans(const std::byte* source, std::byte* target,
                                std::size_t width) const {
    alignas(64) float rgba[MaximumSpanLength * 4];
    for (std::size_t x = 0; x < width; x += MaximumSpanLength) {
        const std::size_t count = std::min(MaximumSpanLength, width - x);
        const std::byte* const from = source + x * m_from.GetPixelSize();
        std::byte* const to = target + x * m_to.GetPixelSize();
        if (m_reader) {
            m_reader->Read(from, rgba, count);
        } else {
            m_from.read(from, rgba, count);
        }
        for (const auto& stage : m_stages) {
            stage->Apply(rgba, count);
        }
        if (m_writer) {
            m_writer->Write(rgba, to, count);
        } else {
            m_to.write(rgba, to, count);
        }
    }
}

}  // namespace Raster
