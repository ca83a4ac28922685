#include "commands/ObjectDocument.h"

#include "Learning/ObjectRegion.h"
#include "Raster/Compositing.h"
#include "Raster/PixelAccessor.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace LearningApp {

namespace {

using Raster::AffineTransform;
using Raster::DynamicBitmap;

/// Takes away what `mask`, which is the alpha of as many pixels in RGBA8, covers.
void Erase(DynamicBitmap& picture, const DynamicBitmap& mask) {
    const Raster::PixelAccessor pixels(picture);
    const Raster::ConstPixelAccessor covers(mask);
    for (int y = 0; y < picture.GetHeight(); ++y) {
        std::byte* const row = pixels.GetView().At(0, y);
        const std::byte* const cover = covers.GetView().At(0, y);
        for (int x = 0; x < picture.GetWidth(); ++x) {
            std::byte& alpha = row[4 * x + 3];
            const int left = std::to_integer<int>(alpha) * (255 - std::to_integer<int>(cover[x]));
            alpha = static_cast<std::byte>((left + 127) / 255);
        }
    }
}

/// Makes all pixels opaque that have any colour.
void MakeOpaque(DynamicBitmap& picture) {
    const Raster::PixelAccessor pixels(picture);
    for (int y = 0; y < picture.GetHeight(); ++y) {
        std::byte* const row = pixels.GetView().At(0, y);
        for (int x = 0; x < picture.GetWidth(); ++x) {
            std::byte& alpha = row[4 * x + 3];
            alpha = alpha == std::byte{0} ? alpha : std::byte{255};
        }
    }
}

}  // namespace

ObjectDocument::ObjectDocument(Picture photo, Picture object, bool isExpanded)
    : m_photo(std::move(photo)), m_object(std::move(object)), m_isExpanded(isExpanded) {}

bool ObjectDocument::ShouldExpand(const DynamicBitmap& /*picture*/) const {
    return m_isExpanded;
}

void ObjectDocument::PrepareRegion(DynamicBitmap& region, DynamicBitmap& mask) const {
    Raster::Render(region, *m_photo, GetPlacement().Invert().value(), Raster::Sampler::Area);
    Erase(region, mask);
    // The mean of what is around takes in the whole object from wherever it is looked at.
    const Raster::Rect box = mask.GetAlphaBoundingBox();
    const auto radius = static_cast<int>(std::max(box.GetWidth(), box.GetHeight()) / 2 + 1);
    const Kernel::Counted<DynamicBitmap> grown = Raster::BoxFilter(region, radius);
    MakeOpaque(*grown);
    Raster::CompositeOver(*grown, region, {}, 1, Raster::Sampler::Nearest);
    Raster::Convert(region, *grown);
}

void ObjectDocument::GetDocumentBounds(Kernel::RectT<int>& bounds,
                                       const AffineTransform::Params& /*placement*/) const {
    bounds = m_photo->GetBounds();
}

AffineTransform::Params ObjectDocument::GetPlacement() const {
    return Learning::CutObjectRegion(m_object->GetAlphaBoundingBox(), m_photo->GetBounds())
        .placement;
}

Kernel::Counted<DynamicBitmap> ObjectDocument::Insert(
    const DynamicBitmap& variant, const AffineTransform::Params& placement) const {
    const Kernel::Counted<DynamicBitmap> layer = m_photo->CloneEmpty();
    Raster::CompositeOver(*layer, variant, placement, 1, Raster::Sampler::Bicubic);
    if (!m_isExpanded) {
        Raster::CompositeDestinationIn(*layer, *m_object);
    }
    Kernel::Counted<DynamicBitmap> result = m_photo->Clone();
    Raster::CompositeOver(*result, *layer, {}, 1, Raster::Sampler::Nearest);
    return result;
}

}  // namespace LearningApp
