#include "Raster/Spans.h"

#include "formats/DirectConversions.h"

#include <algorithm>

namespace Raster {

SpanSource::~SpanSource() = default;

bool SpanSource::ConvertInto(const PixelView& /*target*/, const Rect& /*rect*/,
                             bool /*isLarge*/) const {
    return false;
}

SpanTarget::~SpanTarget() = default;

bool SpanTarget::ConvertFrom(const ConstPixelView& /*source*/, const Rect& /*rect*/,
                             bool /*isLarge*/) {
    return false;
}

void ViewSource::Read(int x, int y, std::size_t count, float* rgba) const {
    m_view.format->read(m_view.At(x, y), rgba, count);
}

void ViewTarget::Write(int x, int y, std::size_t count, const float* rgba) {
    m_view.format->write(rgba, m_view.At(x, y), count);
}

void ViewTarget::Read(int x, int y, std::size_t count, float* rgba) const {
    m_view.format->read(m_view.At(x, y), rgba, count);
}

bool ViewTarget::ConvertFrom(const ConstPixelView& source, const Rect& rect, bool isLarge) {
    const SourceBlock from{source.At(rect.left, rect.top), source.stride};
    const DestinationBlock to{m_view.At(rect.left, rect.top), m_view.stride};
    const auto width = static_cast<std::size_t>(rect.GetWidth());
    const auto height = static_cast<std::size_t>(rect.GetHeight());
    if (source.format == m_view.format) {
        CopyBlock(from, to, width * m_view.format->GetPixelSize(), height, isLarge);
        return true;
    }
    const auto direct = std::ranges::find(m_view.format->directConversions, source.format,
                                          &DirectConversion::source);
    if (direct == m_view.format->directConversions.end()) {
        return false;
    }
    direct->convert(from, to, width, height, isLarge);
    return true;
}

}  // namespace Raster
