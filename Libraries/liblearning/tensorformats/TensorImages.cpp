#include "Learning/TensorImages.h"

#include "Raster/Rendering.h"

#include "tensorformats/TensorImage.h"

#include <stdexcept>

namespace Learning {

namespace {

using Area = Kernel::RectT<double>;

Area ToArea(const Raster::Rect& rect) {
    return {static_cast<double>(rect.left), static_cast<double>(rect.top),
            static_cast<double>(rect.right), static_cast<double>(rect.bottom)};
}

Raster::Rect GetBounds(const TensorImage& image) {
    return {0, 0, image.GetWidth(), image.GetHeight()};
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

/// The pixels that `area` stands for, if it has whole pixels and exactly the image's size: then
/// there is nothing to resample.
std::optional<Raster::Rect> FindPixels(const Area& area, const TensorImage& image) {
    const Raster::Rect pixels{static_cast<int>(area.left), static_cast<int>(area.top),
                              static_cast<int>(area.right), static_cast<int>(area.bottom)};
    const bool isCopy = ToArea(pixels) == area && pixels.GetWidth() == image.GetWidth() &&
                        pixels.GetHeight() == image.GetHeight();
    return isCopy ? std::optional(pixels) : std::nullopt;
}

template <class View>
View Crop(const View& view, const Raster::Rect& rect) {
    return {view.At(rect.left, rect.top), view.stride, static_cast<int>(rect.GetWidth()),
            static_cast<int>(rect.GetHeight()), view.format};
}

Raster::Rendering Resample(const Area& from, const Area& to, Raster::Sampler sampler) {
    Raster::Rendering rendering;
    rendering.transform = Raster::AffineTransform::Params::MapRect(from, to);
    rendering.sampler = sampler;
    if (!Raster::IsPossible(rendering)) {
        throw std::invalid_argument("the area of the picture is too small");
    }
    return rendering;
}

void Fill(const TensorImage& image, const Raster::DynamicBitmap& bitmap,
          const TensorMapping& mapping) {
    const Area area = FindPictureArea(bitmap, mapping);
    const std::optional<Raster::Rect> pixels = FindPixels(area, image);
    const Raster::Rect target = GetBounds(image);
    const Raster::Rendering rendering =
        pixels ? Raster::Rendering() : Resample(area, ToArea(target), mapping.sampler);
    bitmap.SyncHostCache(nullptr, false, nullptr);
    const Raster::ConstPixelView whole = bitmap.GetHostView();
    const Raster::ConstPixelView view = pixels ? Crop(whole, *pixels) : whole;
    const Raster::ViewSource source(view);
    TensorTarget destination(image);
    Raster::RunHostPath({&source, &destination, nullptr, &rendering, nullptr}, target);
}

void Read(const TensorImage& image, Raster::DynamicBitmap& bitmap, const TensorMapping& mapping) {
    const Area area = FindPictureArea(bitmap, mapping);
    const std::optional<Raster::Rect> pixels = FindPixels(area, image);
    const Raster::Rect bounds = GetBounds(image);
    const Raster::Rendering rendering =
        pixels ? Raster::Rendering() : Resample(ToArea(bounds), area, mapping.sampler);
    Raster::Rect rect =
        pixels ? *pixels : rendering.transform->MapRect(bounds).Intersect(bitmap.GetBounds());
    bitmap.SyncHostCache(&rect, true, nullptr);
    const Raster::PixelView whole = bitmap.GetHostView();
    const Raster::PixelView view = pixels ? Crop(whole, *pixels) : whole;
    const TensorSource source(image);
    Raster::ViewTarget destination(view);
    Raster::RunHostPath({&source, &destination, nullptr, &rendering, nullptr},
                        pixels ? bounds : rect);
    bitmap.InvalidateHardwareCache(rect);
}

}  // namespace

void FillTensorCHW(Tensor& tensor, const Raster::DynamicBitmap& bitmap,
                   const TensorMapping& mapping) {
    Fill({tensor, AxisOrder::CHW, mapping}, bitmap, mapping);
}

void FillTensorHWC(Tensor& tensor, const Raster::DynamicBitmap& bitmap,
                   const TensorMapping& mapping) {
    Fill({tensor, AxisOrder::HWC, mapping}, bitmap, mapping);
}

void ReadTensorCHW(const Tensor& tensor, Raster::DynamicBitmap& bitmap,
                   const TensorMapping& mapping) {
    Read({tensor, AxisOrder::CHW, mapping}, bitmap, mapping);
}

void ReadTensorHWC(const Tensor& tensor, Raster::DynamicBitmap& bitmap,
                   const TensorMapping& mapping) {
    Read({tensor, AxisOrder::HWC, mapping}, bitmap, mapping);
}

}  // namespace Learning
