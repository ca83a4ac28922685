// Sources and targets of a pipeline's pixels: spans of unit-float RGBA.

#pragma once

#include "Raster/PixelView.h"
#include "Raster/SpanCodec.h"

#include <utility>

namespace Raster {

/// The most pixels in a span.
inline constexpr std::size_t MaximumSpanLength = 128;

/// A source of pixels. Most are bitmaps, see ViewSource; deriving from this adds another kind, such
/// as the planes of a tensor. An exception of its functions ends the run and propagates to its
/// caller.
///
/// Threads: Read() is called concurrently.
class RASTER_API SpanSource {
public:
    SpanSource(int width, int height) noexcept : m_width(width), m_height(height) {}
    virtual ~SpanSource();

    int GetWidth() const noexcept { return m_width; }
    int GetHeight() const noexcept { return m_height; }

    /// Converts the `count` pixels from (x, y) to the right, at most MaximumSpanLength and all of
    /// them inside, to `rgba`, which is as for SpanReader.
    virtual void Read(int x, int y, std::size_t count, float* rgba) const = 0;

    /// Whether ConvertInto() is quicker than Read() for targets of that format.
    virtual bool HasDirectWayInto(const PixelFormat& format) const noexcept;
    /// Converts the pixels of `rect` into `target` at the same place: directly where
    /// HasDirectWayInto() says so, else span by span. Called concurrently, for distinct pixels.
    virtual void ConvertInto(const PixelView& target, const Rect& rect) const;

    /// The pixels in memory, GetWidth() x GetHeight() of them; null if they are not in memory.
    virtual const ConstPixelView* GetView() const noexcept { return nullptr; }

protected:
    SpanSource(const SpanSource&) = default;
    SpanSource& operator=(const SpanSource&) = default;

private:
    int m_width;
    int m_height;
};

/// A target of pixels.
///
/// Threads: Read() and Write() are called concurrently, for distinct pixels.
class RASTER_API SpanTarget {
public:
    SpanTarget() noexcept = default;
    virtual ~SpanTarget();

    /// Writes the `count` pixels from (x, y) to the right, at most MaximumSpanLength; `rgba` is as
    /// for SpanWriter.
    virtual void Write(int x, int y, std::size_t count, const float* rgba) = 0;
    /// Reads the target's pixels, for blending.
    virtual void Read(int x, int y, std::size_t count, float* rgba) const = 0;

    // As HasDirectWayInto() and ConvertInto() of SpanSource, from the target's side.
    virtual bool HasDirectWayFrom(const PixelFormat& format) const noexcept;
    virtual void ConvertFrom(const ConstPixelView& source, const Rect& rect);

    virtual const PixelView* GetView() const noexcept { return nullptr; }

protected:
    SpanTarget(const SpanTarget&) = default;
    SpanTarget& operator=(const SpanTarget&) = default;
};

/// Rows of pixels in memory, which must outlive this. A codec, unless null, replaces the rules of
/// their format; then GetView() is null, so that nobody takes other ways.
class RASTER_API ViewSource final : public SpanSource {
public:
    explicit ViewSource(const ConstPixelView& view,
                        Kernel::Counted<const SpanCodec> codec = nullptr) noexcept
        : SpanSource(view.width, view.height), m_view(view), m_codec(std::move(codec)) {}
    void Read(int x, int y, std::size_t count, float* rgba) const override;
    const ConstPixelView* GetView() const noexcept override { return m_codec ? nullptr : &m_view; }

private:
    ConstPixelView m_view;
    Kernel::Counted<const SpanCodec> m_codec;
};

class RASTER_API ViewTarget final : public SpanTarget {
public:
    explicit ViewTarget(const PixelView& view,
                        Kernel::Counted<const SpanCodec> codec = nullptr) noexcept
        : m_view(view), m_codec(std::move(codec)) {}
    void Write(int x, int y, std::size_t count, const float* rgba) override;
    void Read(int x, int y, std::size_t count, float* rgba) const override;
    // By the direct conversions of the format.
    bool HasDirectWayFrom(const PixelFormat& format) const noexcept override;
    void ConvertFrom(const ConstPixelView& source, const Rect& rect) override;
    const PixelView* GetView() const noexcept override { return m_codec ? nullptr : &m_view; }

private:
    BlockConverter FindConverter(const PixelFormat& source) const noexcept;

    PixelView m_view;
    Kernel::Counted<const SpanCodec> m_codec;
};

}  // namespace Raster
