// Where a pipeline's pixels come from and go to: runs of unit-float RGBA.

#pragma once

#include "Raster/PixelView.h"

namespace Raster {

/// How many pixels a span has at most.
inline constexpr std::size_t MaximumSpanLength = 128;

/// Gives pixels. Most sources are bitmaps, see ViewSource; deriving from this adds another kind,
/// such as the planes of a tensor. What its functions throw ends the run and is thrown there.
///
/// Threads: Read() is called by many at once.
class RASTER_API SpanSource {
public:
    SpanSource(int width, int height) noexcept : m_width(width), m_height(height) {}
    virtual ~SpanSource();

    int GetWidth() const noexcept { return m_width; }
    int GetHeight() const noexcept { return m_height; }

    /// Converts the `count` pixels from (x, y) to the right, at most MaximumSpanLength and all of
    /// them inside, to `rgba`, which is as for SpanReader.
    virtual void Read(int x, int y, std::size_t count, float* rgba) const = 0;

    /// Converts the pixels of `rect` straight into `target` at the same place; false if there is no
    /// quicker way than span by span, whatever `rect` is. An empty one asks just that. `isLarge` as
    /// for BlockConverter. Called by many threads at once, for distinct pixels.
    virtual bool ConvertInto(const PixelView& target, const Rect& rect, bool isLarge) const;

    /// The rows in memory, as many and as long as GetHeight() and GetWidth() say; null if there are
    /// none.
    virtual const ConstPixelView* GetView() const noexcept { return nullptr; }

protected:
    SpanSource(const SpanSource&) = default;
    SpanSource& operator=(const SpanSource&) = default;

private:
    int m_width;
    int m_height;
};

/// Takes pixels.
///
/// Threads: Read() and Write() are called by many at once, for distinct pixels.
class RASTER_API SpanTarget {
public:
    SpanTarget() noexcept = default;
    virtual ~SpanTarget();

    /// Takes the `count` pixels from (x, y) to the right, at most MaximumSpanLength; `rgba` is as
    /// for SpanWriter.
    virtual void Write(int x, int y, std::size_t count, const float* rgba) = 0;
    /// What is there already, for what is laid over it.
    virtual void Read(int x, int y, std::size_t count, float* rgba) const = 0;

    /// As SpanSource::ConvertInto(), from the side that takes.
    virtual bool ConvertFrom(const ConstPixelView& source, const Rect& rect, bool isLarge);

    virtual const PixelView* GetView() const noexcept { return nullptr; }

protected:
    SpanTarget(const SpanTarget&) = default;
    SpanTarget& operator=(const SpanTarget&) = default;
};

/// Rows of pixels in memory, which must outlive this.
class RASTER_API ViewSource final : public SpanSource {
public:
    explicit ViewSource(const ConstPixelView& view) noexcept
        : SpanSource(view.width, view.height), m_view(view) {}
    void Read(int x, int y, std::size_t count, float* rgba) const override;
    const ConstPixelView* GetView() const noexcept override { return &m_view; }

private:
    ConstPixelView m_view;
};

class RASTER_API ViewTarget final : public SpanTarget {
public:
    explicit ViewTarget(const PixelView& view) noexcept : m_view(view) {}
    void Write(int x, int y, std::size_t count, const float* rgba) override;
    void Read(int x, int y, std::size_t count, float* rgba) const override;
    /// Tries the direct conversions of the format.
    bool ConvertFrom(const ConstPixelView& source, const Rect& rect, bool isLarge) override;
    const PixelView* GetView() const noexcept override { return &m_view; }

private:
    PixelView m_view;
};

}  // namespace Raster
