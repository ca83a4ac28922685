// Each row by SIMD written for it alone: what the machine allows.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "HandWrittenPeer.cpp"
// Deliberate: in this order, since the first one includes this file once for each instruction set.
// clang-format off
#include <hwy/foreach_target.h>
#include <hwy/cache_control.h>
#include <hwy/highway.h>
// clang-format on

#include "PixelRows.h"

#include <algorithm>
#include <cstring>
#include <iterator>

HWY_BEFORE_NAMESPACE();
namespace PixelPeers::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::ScalableTag<float>;
using Ints = hn::RebindToSigned<Floats>;
using Words = hn::RebindToUnsigned<Floats>;  // a pixel of RGBA8 in each
using Narrow = hn::Rebind<std::uint8_t, Floats>;
using FloatVector = hn::Vec<Floats>;
using WordVector = hn::Vec<Words>;

/// A byte in each word to 0..1: the two factors make up 1 / 255, and the first product is exact, so
/// the sum is what a division gives, for all 256 bytes.
HWY_INLINE FloatVector Scale(WordVector words) {
    const Floats floats;
    const auto value = hn::ConvertTo(floats, hn::BitCast(Ints(), words));
    return hn::Add(hn::Mul(value, hn::Set(floats, 0x1.01p-8F)),
                   hn::Mul(value, hn::Set(floats, 0x1.010102p-24F)));
}

template <int shift>
HWY_INLINE WordVector GetByte(WordVector pixels) {
    return hn::And(hn::ShiftRight<shift>(pixels), hn::Set(Words(), 255U));
}

HWY_INLINE WordVector ToByte(FloatVector value) {
    const Floats floats;
    const auto unit = hn::Min(hn::Max(value, hn::Zero(floats)), hn::Set(floats, 1.0F));
    // The largest float below a half: rounds halves up and keeps what is just below them down.
    const auto near =
        hn::Add(hn::Mul(unit, hn::Set(floats, 255.0F)), hn::Set(floats, 0x1.fffffep-2F));
    return hn::BitCast(Words(), hn::ConvertTo(Ints(), near));
}

HWY_INLINE WordVector Pack(WordVector red, WordVector green, WordVector blue, WordVector alpha) {
    return hn::Or(hn::Or(red, hn::ShiftLeft<8>(green)),
                  hn::Or(hn::ShiftLeft<16>(blue), hn::ShiftLeft<24>(alpha)));
}

/// Whether a task's pictures exceed the caches, so that non-temporal stores are faster.
bool IsLarge(const Task& task) {
    return task.source.GetSize() + task.destination.GetSize() > (std::size_t{1} << 25);
}

/// A non-temporal store if that is requested and the vector is large enough for one.
template <class D>
HWY_INLINE void Put(bool isStreaming, hn::Vec<D> vector, D tag, hn::TFromD<D>* to) {
    if (isStreaming && hn::Lanes(tag) * sizeof(*to) >= 16) {
        hn::Stream(vector, tag, to);
    } else {
        hn::StoreU(vector, tag, to);
    }
}

void Copy(const Task& task, std::size_t first, std::size_t last) {
    const bool isLarge = IsLarge(task);
    for (std::size_t i = first * 4; i < last * 4; i += hn::Lanes(Floats())) {
        Put(isLarge, hn::LoadU(Floats(), task.source.As<float>() + i), Floats(),
            task.destination.As<float>() + i);
    }
}

void BytesToPlanes(const Task& task, std::size_t first, std::size_t last) {
    const bool isLarge = IsLarge(task);
    float* const red = task.destination.As<float>();
    float* const green = red + task.size.GetPixelCount();
    float* const blue = green + task.size.GetPixelCount();
    for (std::size_t i = first; i < last; i += hn::Lanes(Floats())) {
        const auto pixels = hn::LoadU(Words(), task.source.As<std::uint32_t>() + i);
        Put(isLarge, Scale(GetByte<0>(pixels)), Floats(), red + i);
        Put(isLarge, Scale(GetByte<8>(pixels)), Floats(), green + i);
        Put(isLarge, Scale(GetByte<16>(pixels)), Floats(), blue + i);
    }
}

void PlanesToBytes(const Task& task, std::size_t first, std::size_t last) {
    const bool isLarge = IsLarge(task);
    const float* const red = task.source.As<float>();
    const float* const green = red + task.size.GetPixelCount();
    const float* const blue = green + task.size.GetPixelCount();
    for (std::size_t i = first; i < last; i += hn::Lanes(Floats())) {
        const auto pixels =
            Pack(ToByte(hn::LoadU(Floats(), red + i)), ToByte(hn::LoadU(Floats(), green + i)),
                 ToByte(hn::LoadU(Floats(), blue + i)), hn::Set(Words(), 255U));
        Put(isLarge, pixels, Words(), task.destination.As<std::uint32_t>() + i);
    }
}

void BytesToFloats(const Task& task, std::size_t first, std::size_t last) {
    const bool isLarge = IsLarge(task);
    for (std::size_t i = first * 4; i < last * 4; i += hn::Lanes(Floats())) {
        const auto bytes = hn::LoadU(Narrow(), task.source.As<std::uint8_t>() + i);
        Put(isLarge, Scale(hn::PromoteTo(Words(), bytes)), Floats(),
            task.destination.As<float>() + i);
    }
}

void FloatsToBytes(const Task& task, std::size_t first, std::size_t last) {
    const bool isLarge = IsLarge(task);
    for (std::size_t i = first * 4; i < last * 4; i += hn::Lanes(Floats())) {
        const auto words = ToByte(hn::LoadU(Floats(), task.source.As<float>() + i));
        Put(isLarge, hn::DemoteTo(Narrow(), hn::BitCast(Ints(), words)), Narrow(),
            task.destination.As<std::uint8_t>() + i);
    }
}

void BytesToGrey(const Task& task, std::size_t first, std::size_t last) {
    const Floats floats;
    const hn::Rebind<std::uint16_t, Floats> shorts;
    for (std::size_t i = first; i < last; i += hn::Lanes(floats)) {
        const auto pixels = hn::LoadU(Words(), task.source.As<std::uint32_t>() + i);
        const auto red = hn::Mul(hn::Set(floats, 0.299F), Scale(GetByte<0>(pixels)));
        const auto green = hn::Mul(hn::Set(floats, 0.587F), Scale(GetByte<8>(pixels)));
        const auto blue = hn::Mul(hn::Set(floats, 0.114F), Scale(GetByte<16>(pixels)));
        const auto grey = ToByte(hn::Add(hn::Add(red, green), blue));
        const auto both = hn::Or(grey, hn::ShiftLeft<8>(hn::ShiftRight<24>(pixels)));
        hn::StoreU(hn::DemoteTo(shorts, hn::BitCast(Ints(), both)), shorts,
                   task.destination.As<std::uint16_t>() + i);
    }
}

void ShortsToBytes(const Task& task, std::size_t first, std::size_t last) {
    const hn::ScalableTag<std::uint16_t> shorts;
    const hn::Rebind<std::uint8_t, decltype(shorts)> bytes;
    for (std::size_t i = first * 4; i < last * 4; i += hn::Lanes(shorts)) {
        // 65281 / 2^24 is close enough to 1 / 257 to round all 65,536 values as the division does.
        const auto near = hn::SaturatedAdd(hn::LoadU(shorts, task.source.As<std::uint16_t>() + i),
                                           hn::Set(shorts, std::uint16_t{128}));
        const auto high = hn::MulHigh(near, hn::Set(shorts, std::uint16_t{65281}));
        const hn::RebindToSigned<decltype(shorts)> ints;
        hn::StoreU(hn::DemoteTo(bytes, hn::BitCast(ints, hn::ShiftRight<8>(high))), bytes,
                   task.destination.As<std::uint8_t>() + i);
    }
}

void BytesToShorts(const Task& task, std::size_t first, std::size_t last) {
    const hn::ScalableTag<std::uint16_t> shorts;
    const hn::Rebind<std::uint8_t, decltype(shorts)> bytes;
    for (std::size_t i = first * 4; i < last * 4; i += hn::Lanes(shorts)) {
        const auto low =
            hn::PromoteTo(shorts, hn::LoadU(bytes, task.source.As<std::uint8_t>() + i));
        hn::StoreU(hn::Or(low, hn::ShiftLeft<8>(low)), shorts,
                   task.destination.As<std::uint16_t>() + i);
    }
}

constexpr std::size_t TileSize = 128;  // five-byte pixels are deinterleaved in the L1 cache

template <int shift>
HWY_INLINE WordVector MixInk(WordVector inks, FloatVector black) {
    const Floats floats;
    const auto one = hn::Set(floats, 1.0F);
    const auto ink = hn::Mul(hn::ConvertTo(floats, hn::BitCast(Ints(), GetByte<shift>(inks))),
                             hn::Set(floats, 1.0F / 255.0F));
    const auto dark = hn::Min(one, hn::Add(hn::Mul(ink, hn::Sub(one, black)), black));
    return ToByte(hn::Sub(one, dark));
}

void InksToBytes(const Task& task, std::size_t first, std::size_t last) {
    const Words words;
    alignas(64) std::uint32_t inks[TileSize];
    alignas(64) std::uint32_t alphas[TileSize];
    for (std::size_t tile = first; tile < last; tile += TileSize) {
        const std::uint8_t* const from = task.source.As<std::uint8_t>() + tile * 5;
        for (std::size_t i = 0; i < TileSize; ++i) {
            std::memcpy(&inks[i], from + i * 5, 4);
            alphas[i] = from[i * 5 + 4];
        }
        for (std::size_t i = 0; i < TileSize; i += hn::Lanes(words)) {
            const auto four = hn::Load(words, inks + i);
            const auto black =
                hn::Mul(hn::ConvertTo(Floats(), hn::BitCast(Ints(), hn::ShiftRight<24>(four))),
                        hn::Set(Floats(), 1.0F / 255.0F));
            const auto pixels = Pack(MixInk<0>(four, black), MixInk<8>(four, black),
                                     MixInk<16>(four, black), hn::Load(words, alphas + i));
            hn::StoreU(pixels, words, task.destination.As<std::uint32_t>() + tile + i);
        }
    }
}

HWY_INLINE WordVector ExtractInk(FloatVector dark, FloatVector black, FloatVector rest) {
    const auto hasInk = hn::Gt(rest, hn::Zero(Floats()));
    return ToByte(hn::IfThenElseZero(hasInk, hn::Div(hn::Sub(dark, black), rest)));
}

void BytesToInks(const Task& task, std::size_t first, std::size_t last) {
    const Words words;
    const auto one = hn::Set(Floats(), 1.0F);
    alignas(64) std::uint32_t inks[TileSize];
    for (std::size_t tile = first; tile < last; tile += TileSize) {
        const auto* const from = task.source.As<std::uint32_t>() + tile;
        for (std::size_t i = 0; i < TileSize; i += hn::Lanes(words)) {
            const auto pixels = hn::LoadU(words, from + i);
            const auto cyan = hn::Sub(one, Scale(GetByte<0>(pixels)));
            const auto magenta = hn::Sub(one, Scale(GetByte<8>(pixels)));
            const auto yellow = hn::Sub(one, Scale(GetByte<16>(pixels)));
            const auto black = hn::Min(cyan, hn::Min(magenta, yellow));
            const auto rest = hn::Sub(one, black);
            hn::Store(Pack(ExtractInk(cyan, black, rest), ExtractInk(magenta, black, rest),
                           ExtractInk(yellow, black, rest), ToByte(black)),
                      words, inks + i);
        }
        std::uint8_t* const to = task.destination.As<std::uint8_t>() + tile * 5;
        for (std::size_t i = 0; i < TileSize; ++i) {
            std::memcpy(to + i * 5, &inks[i], 4);
            to[i * 5 + 4] = static_cast<std::uint8_t>(from[i] >> 24);
        }
    }
}

/// Whether the alpha of any pixel is another than `alpha`.
HWY_INLINE bool HasOther(std::uint32_t alpha, const std::uint32_t* pixels, std::size_t count) {
    const Words words;
    const std::size_t lanes = hn::Lanes(words);
    const auto expected = hn::Set(words, alpha << 24);
    const auto differ = [&](std::size_t i)
                            HWY_ATTR { return hn::Xor(hn::LoadU(words, pixels + i), expected); };
    std::size_t i = 0;
    for (; i + lanes * 4 <= count; i += lanes * 4) {
        const auto all = hn::Or(hn::Or(differ(i), differ(i + lanes)),
                                hn::Or(differ(i + lanes * 2), differ(i + lanes * 3)));
        if (!hn::AllTrue(words, hn::Eq(hn::ShiftRight<24>(all), hn::Zero(words)))) {
            return true;
        }
    }
    return std::any_of(pixels + i, pixels + count,
                       [=](auto pixel) { return pixel >> 24 != alpha; });
}

/// The bounding box: rows from both ends, then of each row between only the columns outside the box
/// so far.
void FindAlphaBox(const Task& task) {
    const auto* const pixels = task.source.As<std::uint32_t>();
    const auto width = static_cast<std::size_t>(task.size.width);
    std::size_t top = 0;
    auto bottom = static_cast<std::size_t>(task.size.height);
    while (top < bottom && !HasOther(0, pixels + top * width, width)) {
        ++top;
    }
    while (bottom > top && !HasOther(0, pixels + (bottom - 1) * width, width)) {
        --bottom;
    }
    std::size_t left = width;
    std::size_t right = 0;
    const auto isVisible = [](std::uint32_t pixel) { return pixel >> 24 != 0; };
    for (std::size_t y = top; y < bottom; ++y) {
        const auto* const row = pixels + y * width;
        if (HasOther(0, row, left)) {
            left = static_cast<std::size_t>(std::find_if(row, row + left, isVisible) - row);
        }
        if (HasOther(0, row + right, width - right)) {
            const std::reverse_iterator last(row + width);
            right = width - static_cast<std::size_t>(
                                std::find_if(last, std::reverse_iterator(row), isVisible) - last);
        }
    }
    const std::size_t box[] = {left, top, right, bottom};
    for (int i = 0; i < 4; ++i) {
        task.destination.As<int>()[i] = top == bottom ? 0 : static_cast<int>(box[i]);
    }
}

/// Sums weighted rows of RGBA8 into `line`, premultiplied if that is requested.
template <bool isMultiplied>
void SumRows(const std::uint8_t* rows, std::size_t rowSize, const float* weights, std::size_t count,
             float* line) {
    const Floats floats;
    for (std::size_t i = 0; i < rowSize; i += hn::Lanes(floats)) {
        auto sum = hn::Zero(floats);
        for (std::size_t k = 0; k < count; ++k) {
            const auto bytes = hn::LoadU(Narrow(), rows + k * rowSize + i);
            auto values = hn::ConvertTo(floats, hn::PromoteTo(Ints(), bytes));
#if HWY_TARGET != HWY_SCALAR  // which has no vector of a whole pixel; it is not measured
            if constexpr (isMultiplied) {
                const auto three = hn::Set(Words(), 3U);
                const auto isAlpha = hn::Eq(hn::And(hn::Iota(Words(), 0), three), three);
                const auto alpha =
                    hn::Mul(hn::Broadcast<3>(values), hn::Set(floats, 1.0F / 255.0F));
                values =
                    hn::IfThenElse(hn::RebindMask(floats, isAlpha), values, hn::Mul(values, alpha));
            }
#endif
            sum = hn::MulAdd(values, hn::Set(floats, weights[k]), sum);
        }
        hn::StoreU(sum, floats, line + i);
    }
}

/// Sums weighted pixels of a line into one of RGBA8.
HWY_INLINE void SumColumns(const float* line, const float* weights, std::size_t count,
                           bool isMultiplied, std::uint8_t* pixel) {
    const hn::CappedTag<float, 4> floats;
    const hn::Rebind<std::uint8_t, decltype(floats)> bytes;
    auto sum = hn::Zero(floats);
    for (std::size_t k = 0; k < count; ++k) {
        sum = hn::MulAdd(hn::LoadU(floats, line + k * 4), hn::Set(floats, weights[k]), sum);
    }
    if (isMultiplied) {
        alignas(16) float values[4]{};
        hn::Store(sum, floats, values);
        const float scale = values[3] > 0 ? 255.0F / values[3] : 0.0F;
        std::for_each_n(values, 3, [=](float& value) { value *= scale; });
        sum = hn::Load(floats, values);
    }
    const auto near = hn::Add(sum, hn::Set(floats, 0.5F));
    hn::StoreU(hn::DemoteTo(bytes, hn::ConvertTo(hn::RebindToSigned<decltype(floats)>(), near)),
               bytes, pixel);
}

/// Rows `first` to `last` of the reduction.
void ReduceArea(const Task& task, std::size_t first, std::size_t last) {
    const std::size_t rowSize = static_cast<std::size_t>(task.size.width) * 4;
    const auto width = static_cast<std::size_t>(task.target.width);
    const Shares rows(task.size.height, task.target.height);
    const Shares columns(task.size.width, task.target.width);
    std::vector<float> line(rowSize + hn::Lanes(Floats()));
    for (std::size_t y = first; y < last; ++y) {
        const std::uint8_t* const from = task.source.As<std::uint8_t>() + rows.starts[y] * rowSize;
        const bool isOpaque =
            !HasOther(255, reinterpret_cast<const std::uint32_t*>(from), rowSize / 4 * rows.count);
        const auto sumRows = isOpaque ? SumRows<false> : SumRows<true>;
        sumRows(from, rowSize, rows.GetWeights(y), rows.count, line.data());
        for (std::size_t x = 0; x < width; ++x) {
            SumColumns(&line[columns.starts[x] * 4], columns.GetWeights(x), columns.count,
                       !isOpaque, task.destination.As<std::uint8_t>() + (y * width + x) * 4);
        }
    }
}

}  // namespace PixelPeers::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace PixelPeers {

HWY_EXPORT(Copy);
HWY_EXPORT(BytesToPlanes);
HWY_EXPORT(PlanesToBytes);
HWY_EXPORT(BytesToFloats);
HWY_EXPORT(FloatsToBytes);
HWY_EXPORT(BytesToGrey);
HWY_EXPORT(ShortsToBytes);
HWY_EXPORT(BytesToShorts);
HWY_EXPORT(InksToBytes);
HWY_EXPORT(BytesToInks);
HWY_EXPORT(FindAlphaBox);
HWY_EXPORT(ReduceArea);

namespace {

using Kernel = void (*)(const Task&, std::size_t, std::size_t);

/// Kernels take parts of a picture: of all pixels of the source, or of the rows of the destination.
Peer ByHand(const char* row, Kernel kernel, bool isByRows = false) {
    return {"hand-written", row, InPlace([=](const Task& task) {
                Split(isByRows ? static_cast<std::size_t>(task.target.height)
                               : task.size.GetPixelCount(),
                      [&](std::size_t first, std::size_t last) { kernel(task, first, last); });
            })};
}

}  // namespace

std::vector<Peer> GetHandWrittenPeers() {
    // Until the instruction set is chosen, what HWY_DYNAMIC_DISPATCH gives detects it in every
    // call.
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    std::vector<Peer> peers{ByHand("Copy", HWY_DYNAMIC_DISPATCH(Copy)),
                            ByHand("RGBA8ToPlanar", HWY_DYNAMIC_DISPATCH(BytesToPlanes)),
                            ByHand("PlanarToRGBA8", HWY_DYNAMIC_DISPATCH(PlanesToBytes)),
                            ByHand("RGBA8ToRGBAF", HWY_DYNAMIC_DISPATCH(BytesToFloats)),
                            ByHand("RGBAFToRGBA8", HWY_DYNAMIC_DISPATCH(FloatsToBytes)),
                            ByHand("RGBA8ToGreyA8", HWY_DYNAMIC_DISPATCH(BytesToGrey)),
                            ByHand("RGBA16ToRGBA8", HWY_DYNAMIC_DISPATCH(ShortsToBytes)),
                            ByHand("RGBA8ToRGBA16", HWY_DYNAMIC_DISPATCH(BytesToShorts)),
                            ByHand("CMYKA8ToRGBA8", HWY_DYNAMIC_DISPATCH(InksToBytes)),
                            ByHand("RGBA8ToCMYKA8", HWY_DYNAMIC_DISPATCH(BytesToInks)),
                            ByHand("ReduceArea", HWY_DYNAMIC_DISPATCH(ReduceArea), true),
                            ByHand("ReduceAreaOfCutout", HWY_DYNAMIC_DISPATCH(ReduceArea), true)};
    for (const char* const row : {"AlphaBoxOfNothing", "AlphaBoxOfIsland", "AlphaBoxOfAll"}) {
        peers.push_back({"hand-written", row, InPlace(HWY_DYNAMIC_DISPATCH(FindAlphaBox))});
    }
    return peers;
}

}  // namespace PixelPeers
#endif
