#include "codecs/RowConverter.h"

#include "Raster/Spans.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Raster {

RowConverter::RowConverter(const PixelFormat& from, const PixelFormat& to,
                           SpanStages stages) noexcept
    : m_from(from), m_to(to), m_stages(std::move(stages)) {
    for (const DirectConversion& conversion : to.directConversions) {
        if (m_stages.empty() && conversion.source == &from) {
            m_direct = conversion.convert;
        }
    }
}

RowConverter::RowConverter(const PixelFormat& from, const PixelFormat& to,
                           const Kernel::Counted<const SpanStage>& stage)
    : RowConverter(from, to, stage ? SpanStages{stage} : SpanStages{}) {}

void RowConverter::Convert(const std::byte* source, std::byte* target, std::size_t width) const {
    if (IsIdentity()) {
        std::memcpy(target, source, width * m_to.GetPixelSize());
    } else if (m_direct != nullptr) {
        m_direct({source, 0}, {target, 0}, width, 1, false);
    } else {
        ConvertSpans(source, target, width);
    }
}

void RowConverter::ConvertSpans(const std::byte* source, std::byte* target,
                                std::size_t width) const {
    alignas(64) float rgba[MaximumSpanLength * 4];
    for (std::size_t x = 0; x < width; x += MaximumSpanLength) {
        const std::size_t count = std::min(MaximumSpanLength, width - x);
        m_from.read(source + x * m_from.GetPixelSize(), rgba, count);
        for (const auto& stage : m_stages) {
            stage->Apply(rgba, count);
        }
        m_to.write(rgba, target + x * m_to.GetPixelSize(), count);
    }
}

}  // namespace Raster
