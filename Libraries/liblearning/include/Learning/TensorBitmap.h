// In namespace Raster, but in this library: bitmaps whose pixels are the elements of a tensor.

#pragma once

#include "Learning/Tensor.h"
#include "Raster/ModelBase.h"
#include "Raster/Pixel.h"
#include "Raster/PixelView.h"

#include <cstddef>
#include <vector>

namespace Raster {

/// Reads a tensor's last three dimensions as channels, height, width.
struct CHW;
/// Reads a tensor's last three dimensions as width, height, channels. Deliberate: width comes
/// first, against the usual reading of the three letters.
struct HWC;

/// A bitmap over a Learning::Tensor: what a pipeline writes into it a model reads, and the other
/// way round. One of the twelve formats of Learning/TensorFormats.inc; values pass unchanged,
/// nothing is clamped.
///
/// The layout says only which dimensions are width and height. Deliberate: it does not say where
/// the samples of a pixel lie. Pixel i has the tensor's elements k i to k i + k - 1, k being the
/// number of channels, and pixel (x, y) is number y * width + x, under both layouts, by subscript
/// and by pipeline. Learning/TensorImages.h fills the
/// planes of a model's input.
///
/// Errors: as Learning::Tensor; std::invalid_argument for fewer than two dimensions, for a null
/// source and for dimensions that are no size.
///
/// Threads: as Learning::Tensor.
template <class C1, class C2, class C3, class C4, class C5, class Layout>
class Tensor : public ModelBase<Tensor<C1, C2, C3, C4, C5, Layout>, C1, C2, C3, C4, C5>,
               public Learning::Tensor {
public:
    using PixelType = Pixel<C1, C2, C3, C4, C5>;

    /// Allocates a tensor of that shape, outermost dimension first. The last three dimensions
    /// count; two dimensions are followed by a third of 1.
    explicit Tensor(std::vector<int> dimensions);
    /// Shares the elements and the shape of `source`.
    explicit Tensor(Kernel::Counted<Learning::Tensor> source);
    // Copies share their elements.
    Tensor(const Tensor& other);
    Tensor& operator=(const Tensor& other);
    ~Tensor() override;

    static Kernel::String GetDescription();
    /// The same code for all twelve.
    static Format GetFormat() noexcept { return Format::Tensor; }
    static const PixelFormat& GetPixelFormat() noexcept;

    /// There are no levels: the argument does not matter.
    int GetWidth(int /*level*/ = 0) const noexcept { return m_width; }
    int GetHeight(int /*level*/ = 0) const noexcept { return m_height; }

    // Deliberate: not checked, as the tensor's own subscripts.
    void GetPixelAtIndexedSubscript(std::size_t i, PixelType& pixel) const noexcept;
    void SetPixelAtIndexedSubscript(std::size_t i, const PixelType& pixel) noexcept;

    /// Throws std::length_error if the tensor has fewer elements than the pixels need: the shape
    /// has fewer channels than the format, or the storage was replaced by a smaller one.
    PixelView GetHostView();
    ConstPixelView GetHostView() const;

private:
    void TakeSize();
    std::byte* GetPixels() const;
    std::ptrdiff_t GetStride() const noexcept;

    int m_width = 0;
    int m_height = 0;
};

// In this order: the base is instantiated with the class itself.
#define LEARNING_TENSOR_FORMAT(C1, C2, C3, C4, C5, LAYOUT)                                \
    LEARNING_TEMPLATE(ModelBase<Tensor<C1, C2, C3, C4, C5, LAYOUT>, C1, C2, C3, C4, C5>); \
    LEARNING_TEMPLATE(Tensor<C1, C2, C3, C4, C5, LAYOUT>);
#include "Learning/TensorFormats.inc"

}  // namespace Raster
