#include "codecs/PNGFilters.h"

#include <cstdint>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "codecs/PNGFilters.cpp"
#include "formats/Highway.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using ByteTag = hn::ScalableTag<std::uint8_t>;

/// Sets `result` to `operation` of each two bytes.
template <class Operation>
HWY_INLINE void ForBytes(const std::byte* left, const std::byte* right, std::byte* result,
                         std::size_t size, Operation operation) {
    const auto run = [&](auto tag, std::size_t i) HWY_ATTR {
        const auto* a = reinterpret_cast<const std::uint8_t*>(left + i);
        const auto* b = reinterpret_cast<const std::uint8_t*>(right + i);
        hn::StoreU(operation(hn::LoadU(tag, a), hn::LoadU(tag, b)), tag,
                   reinterpret_cast<std::uint8_t*>(result + i));
    };
    constexpr ByteTag Tag;
    std::size_t i = 0;
    for (; i + hn::Lanes(Tag) <= size; i += hn::Lanes(Tag)) {
        run(Tag, i);
    }
    for (; i < size; ++i) {
        run(hn::CappedTag<std::uint8_t, 1>(), i);
    }
}

void FilterUp(const std::byte* row, const std::byte* above, std::byte* filtered, std::size_t size) {
    ForBytes(row, above, filtered, size, [](auto a, auto b) HWY_ATTR { return hn::Sub(a, b); });
}

void SwapSampleBytes(const std::byte* source, std::byte* target, std::size_t count) {
    const auto run = [&](auto tag, std::size_t i) HWY_ATTR {
        const auto samples = hn::LoadU(tag, reinterpret_cast<const std::uint16_t*>(source) + i);
        hn::StoreU(hn::Or(hn::ShiftLeft<8>(samples), hn::ShiftRight<8>(samples)), tag,
                   reinterpret_cast<std::uint16_t*>(target) + i);
    };
    constexpr hn::ScalableTag<std::uint16_t> Tag;
    std::size_t i = 0;
    for (; i + hn::Lanes(Tag) <= count; i += hn::Lanes(Tag)) {
        run(Tag, i);
    }
    for (; i < count; ++i) {
        run(hn::CappedTag<std::uint16_t, 1>(), i);
    }
}

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Raster {

RASTER_DISPATCH(FilterUp,
                (const std::byte* row, const std::byte* above, std::byte* filtered,
                 std::size_t size),
                (row, above, filtered, size))
RASTER_DISPATCH(SwapSampleBytes, (const std::byte* source, std::byte* target, std::size_t count),
                (source, target, count))

}  // namespace Raster
#endif
