// A photo as a document in which the inference service replaces an object.

#pragma once

#include "Learning/RemoteInferenceHelper.h"

#include <vector>

namespace LearningApp {

/// A document of one picture. All of it may be sent.
class ObjectDocument final : public Learning::RemoteInferenceHelper {
public:
    using Picture = Kernel::Counted<const Raster::DynamicBitmap>;

    /// `object` has the size of the photo and is in RGBA8; its alpha is the shape of the thing that
    /// is replaced. What replaces it keeps to that shape, unless `isExpanded`.
    ObjectDocument(Picture photo, Picture object, bool isExpanded);

    bool ShouldExpand(const Raster::DynamicBitmap& picture) const override;
    /// Shows what is around the object, and lets that grow over its place.
    void PrepareRegion(Raster::DynamicBitmap& region, Raster::DynamicBitmap& mask) const override;
    void GetDocumentBounds(Kernel::RectT<int>& bounds,
                           const Raster::AffineTransform::Params& placement) const override;

    /// Where what the service makes of the object lies.
    Raster::AffineTransform::Params GetPlacement() const;

    /// The photo with `variant` in it, which `placement` puts there.
    Kernel::Counted<Raster::DynamicBitmap> Insert(
        const Raster::DynamicBitmap& variant,
        const Raster::AffineTransform::Params& placement) const;

private:
    const Picture m_photo;
    const Picture m_object;
    const bool m_isExpanded;
};

}  // namespace LearningApp
