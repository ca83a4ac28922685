// What the service's operations ask of a host about its document.

#pragma once

#include "Kernel/Rect.h"
#include "Learning/Export.h"
#include "Raster/AffineTransform.h"
#include "Raster/DynamicBitmap.h"

namespace Learning {

/// Answers questions about the document in which an object is replaced. Implemented by the host,
/// which owns it; called on the thread of the operation. What an operation throws ends the call.
///
/// The order of the operations is that of the table which hosts are built against.
class LEARNING_API RemoteInferenceHelper {
public:
    virtual void Unused1() const {}

    /// Whether the new object may be larger than the one in `picture`.
    virtual bool ShouldExpand(const Raster::DynamicBitmap& picture) const = 0;

    /// Prepares the picture of a region whose object is to be replaced completely, such as by
    /// filling in what lies behind it. `mask` has the size of the region, and its alpha is that of
    /// the object; both may be changed. CutObjectRegion() tells where the region lies.
    virtual void PrepareRegion(Raster::DynamicBitmap& region,
                               Raster::DynamicBitmap& mask) const = 0;

    virtual void Unused4() const {}

    /// Sets `bounds` to the part of the document that may be sent, for a picture that `placement`
    /// puts there.
    virtual void GetDocumentBounds(Kernel::RectT<int>& bounds,
                                   const Raster::AffineTransform::Params& placement) const = 0;

protected:
    RemoteInferenceHelper() = default;
    RemoteInferenceHelper(const RemoteInferenceHelper&) = default;
    RemoteInferenceHelper& operator=(const RemoteInferenceHelper&) = default;
    ~RemoteInferenceHelper() = default;
};

}  // namespace Learning
