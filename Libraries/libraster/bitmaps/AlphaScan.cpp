#include "bitmaps/AlphaScan.h"

#include "Raster/AbortFlag.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "bitmaps/AlphaScan.cpp"
#include "formats/Highway.h"
#include "formats/Lanes.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

/// Whether any bit under `mask`, a pattern of eight bytes, differs from `expected`.
bool HasOtherBits(const std::byte* bytes, std::size_t count, std::uint64_t mask,
                  std::uint64_t expected) {
    const hn::ScalableTag<std::uint64_t> tag;
    const std::size_t step = hn::Lanes(tag) * 8;
    const auto masks = hn::Set(tag, mask);
    const auto same = hn::Set(tag, expected);
    const auto differences = [&](std::size_t at) HWY_ATTR {
        return hn::Xor(hn::LoadU(tag, reinterpret_cast<const std::uint64_t*>(bytes + at)), same);
    };
    const auto isAny = [&](auto bits) HWY_ATTR {
        return !hn::AllTrue(tag, hn::Eq(hn::And(bits, masks), hn::Zero(tag)));
    };
    std::size_t i = 0;
    for (; i + 4 * step <= count; i += 4 * step) {
        if (isAny(hn::Or(hn::Or(differences(i), differences(i + step)),
                         hn::Or(differences(i + 2 * step), differences(i + 3 * step))))) {
            return true;
        }
    }
    for (; i + step <= count; i += step) {
        if (isAny(differences(i))) {
            return true;
        }
    }
    std::uint64_t rest = expected;
    for (; i < count; i += 8) {
        std::memcpy(&rest, bytes + i, std::min<std::size_t>(8, count - i));
        if (((rest ^ expected) & mask) != 0) {
            return true;
        }
    }
    return false;
}

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Raster {
namespace {

HWY_EXPORT(HasOtherBits);

enum class Wanted { Visible, NotOpaque };

/// Tests spans for pixels whose alpha is as wanted.
class AlphaTest {
public:
    AlphaTest(const PixelFormat& format, Wanted wanted)
        : m_format(format), m_wanted(wanted), m_alphaBits(GetAlphaBits(format)) {}

    bool HasAny(const std::byte* pixels, std::size_t count) const {
        if (m_alphaBits == 0) {
            return HasAnyByReader(pixels, count);
        }
        return HWY_DYNAMIC_DISPATCH(HasOtherBits)(pixels, count * m_format.GetPixelSize(),
                                                  m_alphaBits,
                                                  m_wanted == Wanted::Visible ? 0 : ~0ULL);
    }

    /// The first wanted pixel of `count` that contain at least one.
    std::size_t FindFirst(const std::byte* pixels, std::size_t count) const {
        std::size_t first = 0;
        while (count > 1) {
            const std::size_t half = count / 2;
            if (HasAny(pixels + first * m_format.GetPixelSize(), half)) {
                count = half;
            } else {
                first += half;
                count -= half;
            }
        }
        return first;
    }
    /// The last one.
    std::size_t FindLast(const std::byte* pixels, std::size_t count) const {
        std::size_t first = 0;
        while (count > 1) {
            const std::size_t half = count / 2;
            if (HasAny(pixels + (first + half) * m_format.GetPixelSize(), count - half)) {
                first += half;
                count -= half;
            } else {
                count = half;
            }
        }
        return first;
    }

private:
    /// The bit mask of alpha, the last sample, in the pixels of eight bytes; 0 if samples are not
    /// integers or the pixel size does not divide eight bytes.
    static std::uint64_t GetAlphaBits(const PixelFormat& format) {
        const std::size_t size = format.GetPixelSize();
        if (format.code == Format::Tensor || format.sampleSize > 2 || 8 % size != 0) {
            return 0;
        }
        std::uint64_t bits = 0;
        for (std::size_t at = size - format.sampleSize; at < 8; at += size) {
            bits |= (format.sampleSize == 1 ? 0xFFULL : 0xFFFFULL) << (8 * at);
        }
        return bits;
    }

    bool HasAnyByReader(const std::byte* pixels, std::size_t count) const {
        constexpr std::size_t Run = 128;
        alignas(64) float rgba[Run * 4];
        const bool isVisible = m_wanted == Wanted::Visible;
        for (std::size_t done = 0; done < count; done += Run) {
            const std::size_t run = std::min(Run, count - done);
            m_format.read(pixels + done * m_format.GetPixelSize(), rgba, run);
            bool hasAny = false;
            for (std::size_t i = 0; i < run; ++i) {
                const float alpha = rgba[i * 4 + 3];
                hasAny |= isVisible ? alpha > 0.0f : !(alpha >= 1.0f);
            }
            if (hasAny) {
                return true;
            }
        }
        return false;
    }

    const PixelFormat& m_format;
    Wanted m_wanted;
    std::uint64_t m_alphaBits;
};

/// The bounding box of the wanted pixels: scans rows from both ends, then of each row between only
/// the columns outside the box so far. `none` if no pixel is wanted.
Rect FindBox(const ConstPixelView& view, Wanted wanted, const Rect& none, const bool* abort) {
    const AlphaTest test(*view.format, wanted);
    const auto width = static_cast<std::size_t>(view.width);
    const auto hasRow = [&](int y) { return test.HasAny(view.At(0, y), width); };
    int top = 0;
    while (top < view.height && !hasRow(top) && !IsAborted(abort)) {
        ++top;
    }
    if (top == view.height || IsAborted(abort)) {
        return none;
    }
    int bottom = view.height;
    while (!hasRow(bottom - 1) && !IsAborted(abort)) {
        --bottom;
    }
    std::size_t left = width;
    std::size_t right = 0;
    for (int y = top; y < bottom && !IsAborted(abort); ++y) {
        if (left > 0 && test.HasAny(view.At(0, y), left)) {
            left = test.FindFirst(view.At(0, y), left);
        }
        const std::byte* const beyond = view.At(static_cast<int>(right), y);
        if (right < width && test.HasAny(beyond, width - right)) {
            right += test.FindLast(beyond, width - right) + 1;
        }
    }
    return {static_cast<int>(left), top, static_cast<int>(right), bottom};
}

}  // namespace

Rect FindAlphaBox(const ConstPixelView& view, const bool* abort) {
    if (!view.format->hasAlpha) {
        return view.GetBounds().IsEmpty() ? Rect{} : view.GetBounds();
    }
    return FindBox(view, Wanted::Visible, Rect{}, abort);
}

Rect FindInverseAlphaBox(const ConstPixelView& view, const bool* abort) {
    if (!view.format->hasAlpha) {
        return EmptyRect;
    }
    return FindBox(view, Wanted::NotOpaque, EmptyRect, abort);
}

}  // namespace Raster
#endif
