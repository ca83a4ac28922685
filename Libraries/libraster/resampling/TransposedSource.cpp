#include "resampling/TransposedSource.h"

#include "formats/PixelSizes.h"

#include <algorithm>
#include <cstring>

namespace Raster {

void TransposedSource::Read(int x, int y, std::size_t count, float* rgba) const {
    const ConstPixelView* const view = m_source.GetView();
    if (view == nullptr) {
        for (std::size_t i = 0; i < count; ++i) {
            alignas(64) float pixel[4];
            m_source.Read(y, x + static_cast<int>(i), 1, pixel);
            std::copy_n(pixel, 4, rgba + i * 4);
        }
        return;
    }
    alignas(64) std::byte pixels[MaximumSpanLength * MaximumPixelSize];
    WithPixelSize(view->format->GetPixelSize(), [&](auto size) {
        const std::byte* from = view->At(y, x);
        for (std::size_t i = 0; i < count; ++i, from += view->stride) {
            std::memcpy(pixels + i * size, from, size);
        }
    });
    view->format->read(pixels, rgba, count);
}

}  // namespace Raster
