#include "rendering/AlphaTally.h"

#include <algorithm>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "rendering/AlphaTally.cpp"
#include "formats/Highway.h"
#include "formats/Lanes.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

/// Pixels that are integers of the type Word, of which the bits of `mask` are alpha.
template <class Word>
void CountWords(const std::byte* pixels, std::size_t count, std::uint64_t mask, CopyTally& tally) {
    const hn::ScalableTag<Word> tag;
    const std::size_t step = hn::Lanes(tag);
    const auto ones = static_cast<Word>(mask);
    const auto masks = hn::Set(tag, ones);
    std::size_t transparent = 0;
    std::size_t opaque = 0;
    std::size_t i = 0;
    for (; i + step <= count; i += step) {
        const auto* const words = reinterpret_cast<const Word*>(pixels + i * sizeof(Word));
        const auto alphas = hn::And(hn::LoadU(tag, words), masks);
        transparent += hn::CountTrue(tag, hn::Eq(alphas, hn::Zero(tag)));
        opaque += hn::CountTrue(tag, hn::Eq(alphas, masks));
    }
    for (; i < count; ++i) {
        Word word;
        std::memcpy(&word, pixels + i * sizeof(Word), sizeof(Word));
        transparent += (word & ones) == 0 ? 1 : 0;
        opaque += (word & ones) == ones ? 1 : 0;
    }
    tally.transparent += transparent;
    tally.opaque += opaque;
    tally.translucent += count - transparent - opaque;
}

void CountIntegers(const std::byte* pixels, std::size_t count, std::size_t size, std::uint64_t mask,
                   CopyTally& tally) {
    switch (size) {
        case 1:
            return CountWords<std::uint8_t>(pixels, count, mask, tally);
        case 2:
            return CountWords<std::uint16_t>(pixels, count, mask, tally);
        case 4:
            return CountWords<std::uint32_t>(pixels, count, mask, tally);
        default:
            return CountWords<std::uint64_t>(pixels, count, mask, tally);
    }
}

void CountFloats(const float* rgba, std::size_t count, CopyTally& tally) {
    constexpr FloatTag Tag;
    std::size_t visible = 0;
    std::size_t opaque = 0;
    std::size_t i = 0;
    for (; i + LaneCount <= count; i += LaneCount) {
        hn::Vec<FloatTag> r;
        hn::Vec<FloatTag> g;
        hn::Vec<FloatTag> b;
        hn::Vec<FloatTag> a;
        hn::LoadInterleaved4(Tag, rgba + 4 * i, r, g, b, a);
        visible += hn::CountTrue(Tag, hn::Gt(a, hn::Zero(Tag)));
        opaque += hn::CountTrue(Tag, hn::Ge(a, hn::Set(Tag, 1.0f)));
    }
    for (; i < count; ++i) {
        visible += rgba[4 * i + 3] > 0 ? 1 : 0;
        opaque += rgba[4 * i + 3] >= 1 ? 1 : 0;
    }
    tally.transparent += count - visible;
    tally.opaque += opaque;
    tally.translucent += visible - opaque;
}

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Raster {
namespace {

HWY_EXPORT(CountIntegers);
HWY_EXPORT(CountFloats);

/// The bits of alpha, the last sample, in a pixel as a little-endian integer; 0 if a pixel is none.
std::uint64_t GetAlphaMask(const PixelFormat& format) noexcept {
    const std::size_t size = format.GetPixelSize();
    if (format.code == Format::Tensor || !format.hasAlpha || format.sampleSize > 2 ||
        8 % size != 0) {
        return 0;
    }
    const std::uint64_t sample = format.sampleSize == 1 ? 0xFF : 0xFFFF;
    return sample << (8 * (size - format.sampleSize));
}

/// For pixels that are no integers.
void CountByReader(const PixelFormat& format, const std::byte* pixels, std::size_t count,
                   CopyTally& tally) noexcept {
    alignas(64) float rgba[MaximumSpanLength * 4];
    for (std::size_t done = 0; done < count; done += MaximumSpanLength) {
        const std::size_t length = std::min(MaximumSpanLength, count - done);
        format.read(pixels + done * format.GetPixelSize(), rgba, length);
        CountSpan(rgba, length, tally);
    }
}

}  // namespace

void CountSpan(const float* rgba, std::size_t count, CopyTally& tally) noexcept {
    HWY_DYNAMIC_DISPATCH(CountFloats)(rgba, count, tally);
}

void CountPixels(const ConstPixelView& view, const Rect& rect, CopyTally& tally) noexcept {
    const PixelFormat& format = *view.format;
    const std::uint64_t mask = GetAlphaMask(format);
    const auto width = static_cast<std::size_t>(rect.GetWidth());
    for (int y = rect.top; y < rect.bottom; ++y) {
        const std::byte* const row = view.At(rect.left, y);
        if (mask != 0) {
            HWY_DYNAMIC_DISPATCH(CountIntegers)(row, width, format.GetPixelSize(), mask, tally);
        } else {
            CountByReader(format, row, width, tally);
        }
    }
}

}  // namespace Raster
#endif
