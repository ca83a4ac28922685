#include "Learning/TensorImages.h"

#include "Raster/Rendering.h"

#include "tensorformats/TensorSamples.h"

#include <cmath>
#include <stdexcept>

namespace Learning {

namespace {

using Area = Kernel::RectT<double>;

Area ToArea(const Raster::Rect& rect) {
    return {static_cast<double>(rect.left), static_cast<double>(rect.top),
            static_cast<double>(rect.right), static_cast<double>(rect.bottom)};
}

Raster::Rect GetBounds(const Raster::PlaneView& planes) {
    return {0, 0, planes.width, planes.height};
}

Area FindPictureArea(const Raster::DynamicBitmap& bitmap, const TensorMapping& mapping) {
    const Area bounds = ToArea(bitmap.GetBounds());
    const Area area = mapping.pictureArea.value_or(bounds);
    // Nor if an edge is no number.
    const bool isInside = area.left >= bounds.left && area.top >= bounds.top &&
                          area.right <= bounds.right && area.bottom <= bounds.bottom;
    if (!isInside || area.IsEmpty()) {
        throw std::invalid_argument("the area is not inside the picture, or is empty");
    }
    return area;
}

/// The pixels that `area` touches.
Raster::Rect FindTouched(const Area& area) {
    return {static_cast<int>(area.left), static_cast<int>(area.top),
            static_cast<int>(std::ceil(area.right)), static_cast<int>(std::ceil(area.bottom))};
}

/// The pixels whose centres lie in `area`.
Raster::Rect FindCentred(const Area& area) {
    constexpr double Margin = 1e-6;  // more than rounding does
    const auto begin = [](double edge) { return static_cast<int>(std::ceil(edge - 0.5 + Margin)); };
    const auto end = [](double edge) { return static_cast<int>(std::ceil(edge - 0.5 - Margin)); };
    return {begin(area.left), begin(area.top), end(area.right), end(area.bottom)};
}

/// `area` as seen from the top left corner of `pixels`.
Area SeeFrom(const Raster::Rect& pixels, const Area& area) {
    return {area.left - pixels.left, area.top - pixels.top, area.right - pixels.left,
            area.bottom - pixels.top};
}

template <class View>
View Crop(const View& view, const Raster::Rect& rect) {
    return {view.At(rect.left, rect.top), view.stride, static_cast<int>(rect.GetWidth()),
            static_cast<int>(rect.GetHeight()), view.format};
}

/// Between equal areas there is nothing to resample, as pipelines see for themselves.
Raster::Rendering Resample(const Area& from, const Area& to, const TensorMapping& mapping) {
    Raster::Rendering rendering;
    rendering.transform = Raster::AffineTransform::Params::MapRect(from, to);
    rendering.sampler = mapping.sampler;
    rendering.stages = mapping.stages;
    if (!Raster::IsPossible(rendering)) {
        throw std::invalid_argument("the area of the picture is too small");
    }
    return rendering;
}

void Fill(const Raster::PlaneView& planes, const Raster::DynamicBitmap& bitmap,
          const TensorMapping& mapping) {
    Raster::PlaneTarget destination(planes, Raster::HiddenColours::Clear);
    const Area area = FindPictureArea(bitmap, mapping);
    const Raster::Rect pixels = FindTouched(area);
    const Raster::Rect bounds = GetBounds(planes);
    const Raster::Rendering rendering = Resample(SeeFrom(pixels, area), ToArea(bounds), mapping);
    bitmap.SyncHostCache(nullptr, false, nullptr);
    const Raster::ViewSource source(Crop(bitmap.GetHostView(), pixels));
    Raster::RunHostPath({&source, &destination, nullptr, &rendering, nullptr}, bounds);
}

void Read(const Raster::PlaneView& planes, Raster::DynamicBitmap& bitmap,
          const TensorMapping& mapping) {
    const Raster::PlaneSource source(planes);
    const Area area = FindPictureArea(bitmap, mapping);
    Raster::Rect pixels = FindCentred(area).Intersect(bitmap.GetBounds());
    const Raster::Rendering rendering =
        Resample(ToArea(GetBounds(planes)), SeeFrom(pixels, area), mapping);
    bitmap.SyncHostCache(&pixels, true, nullptr);
    const Raster::PixelView view = Crop(bitmap.GetHostView(), pixels);
    Raster::ViewTarget destination(view);
    Raster::RunHostPath({&source, &destination, nullptr, &rendering, nullptr}, view.GetBounds());
    bitmap.InvalidateHardwareCache(pixels);
}

}  // namespace

void FillTensorCHW(Tensor& tensor, const Raster::DynamicBitmap& bitmap,
                   const TensorMapping& mapping) {
    Fill(ViewSamples(tensor, AxisOrder::CHW, mapping), bitmap, mapping);
}

void FillTensorHWC(Tensor& tensor, const Raster::DynamicBitmap& bitmap,
                   const TensorMapping& mapping) {
    Fill(ViewSamples(tensor, AxisOrder::HWC, mapping), bitmap, mapping);
}

void ReadTensorCHW(const Tensor& tensor, Raster::DynamicBitmap& bitmap,
                   const TensorMapping& mapping) {
    Read(ViewSamples(tensor, AxisOrder::CHW, mapping), bitmap, mapping);
}

void ReadTensorHWC(const Tensor& tensor, Raster::DynamicBitmap& bitmap,
                   const TensorMapping& mapping) {
    Read(ViewSamples(tensor, AxisOrder::HWC, mapping), bitmap, mapping);
}

}  // namespace Learning
