#include "Raster/Spans.h"

#include "formats/DirectConversions.h"
#include "spans/CacheShare.h"

#include <algorithm>

namespace Raster {

namespace {

/// Calls `convert(x, y, count, rgba)` for each span of `rect`; `rgba` has room for it.
template <class Convert>
void ForSpans(const Rect& rect, const Convert& convert) {
    alignas(64) float rgba[MaximumSpanLength * 4];
    for (int y = rect.top; y < rect.bottom; ++y) {
        const auto width = static_cast<std::size_t>(rect.GetWidth());
        for (std::size_t i = 0; i < width; i += MaximumSpanLength) {
            convert(rect.left + static_cast<int>(i), y, std::min(MaximumSpanLength, width - i),
                    rgba);
        }
    }
}

void ReadByCodec(const ConstPixelView& view, const Kernel::Counted<const SpanCodec>& codec, int x,
                 int y, std::size_t count, float* rgba) {
    if (codec) {
        codec->Read(view.At(x, y), rgba, count);
    } else {
        view.format->read(view.At(x, y), rgba, count);
    }
}

}  // namespace

SpanSource::~SpanSource() = default;

bool SpanSource::HasDirectWayInto(const PixelFormat& /*format*/) const noexcept {
    return false;
}

void SpanSource::ConvertInto(const PixelView& target, const Rect& rect) const {
    ForSpans(rect, [&](int x, int y, std::size_t count, float* rgba) {
        Read(x, y, count, rgba);
        target.format->write(rgba, target.At(x, y), count);
    });
}

SpanTarget::~SpanTarget() = default;

bool SpanTarget::HasDirectWayFrom(const PixelFormat& /*format*/) const noexcept {
    return false;
}

void SpanTarget::ConvertFrom(const ConstPixelView& source, const Rect& rect) {
    ForSpans(rect, [&](int x, int y, std::size_t count, float* rgba) {
        source.format->read(source.At(x, y), rgba, count);
        Write(x, y, count, rgba);
    });
}

void ViewSource::Read(int x, int y, std::size_t count, float* rgba) const {
    ReadByCodec(m_view, m_codec, x, y, count, rgba);
}

void ViewTarget::Write(int x, int y, std::size_t count, const float* rgba) {
    if (m_codec) {
        m_codec->Write(rgba, m_view.At(x, y), count);
    } else {
        m_view.format->write(rgba, m_view.At(x, y), count);
    }
}

void ViewTarget::Read(int x, int y, std::size_t count, float* rgba) const {
    ReadByCodec(m_view, m_codec, x, y, count, rgba);
}

/// Null if there is none.
BlockConverter ViewTarget::FindConverter(const PixelFormat& source) const noexcept {
    const auto& converters = m_view.format->directConversions;
    const auto found = std::ranges::find(converters, &source, &DirectConversion::source);
    return found != converters.end() ? found->convert : nullptr;
}

bool ViewTarget::HasDirectWayFrom(const PixelFormat& format) const noexcept {
    return !m_codec && (&format == m_view.format || FindConverter(format) != nullptr);
}

void ViewTarget::ConvertFrom(const ConstPixelView& source, const Rect& rect) {
    const bool isSame = source.format == m_view.format;
    const BlockConverter convert = isSame ? CopyBlock : FindConverter(*source.format);
    if (convert == nullptr || m_codec) {
        return SpanTarget::ConvertFrom(source, rect);
    }
    const auto width = static_cast<std::size_t>(rect.GetWidth());
    convert({source.At(rect.left, rect.top), source.stride},
            {m_view.At(rect.left, rect.top), m_view.stride},
            isSame ? width * m_view.format->GetPixelSize() : width,
            static_cast<std::size_t>(rect.GetHeight()), ExceedsCacheShare(m_view));
}

}  // namespace Raster
