// Conversion between pixels of a codec and the intermediate, and loops over whole spans. Compiled
// once for each instruction set; see Highway.h.

#if defined(RASTER_FORMATS_SPANLOOPS_H) == defined(HWY_TARGET_TOGGLE)
#ifdef RASTER_FORMATS_SPANLOOPS_H
#undef RASTER_FORMATS_SPANLOOPS_H
#else
#define RASTER_FORMATS_SPANLOOPS_H
#endif

#include "formats/PixelCodecs.h"

HWY_BEFORE_NAMESPACE();
namespace Raster {
namespace HWY_NAMESPACE {

/// A kernel from a codec's pixels to the intermediate.
template <class Codec>
struct ReadPixels {
    static constexpr std::size_t SourceSize = Codec::PixelSize;
    static constexpr std::size_t DestinationSize = 4 * sizeof(float);

    template <class Store>
    static HWY_INLINE void Run(const std::byte* from, std::byte* to) {
        const Pixels p = Codec::Load(from);
        hn::StoreInterleaved4(p.r.v, p.g.v, p.b.v, p.a.v, FloatTag(), reinterpret_cast<float*>(to));
    }
};
/// A kernel from the intermediate to a codec's pixels.
template <class Codec>
struct WritePixels {
    static constexpr std::size_t SourceSize = 4 * sizeof(float);
    static constexpr std::size_t DestinationSize = Codec::PixelSize;

    template <class Store>
    static HWY_INLINE void Run(const std::byte* from, std::byte* to) {
        hn::Vec<FloatTag> r;
        hn::Vec<FloatTag> g;
        hn::Vec<FloatTag> b;
        hn::Vec<FloatTag> a;
        hn::LoadInterleaved4(FloatTag(), reinterpret_cast<const float*>(from), r, g, b, a);
        Codec::template Save<Store>(Codec::Fit({r, g, b, a}), to);
    }
};

/// RGBA of one sample type to RGBA of another, component by component, at any alignment.
template <class From, class To>
struct ConvertComponents {
    static constexpr std::size_t SourceSize = 4 * sizeof(From);
    static constexpr std::size_t DestinationSize = 4 * sizeof(To);

    template <class Store>
    static HWY_INLINE void Run(const std::byte* from, std::byte* to) {
        for (std::size_t i = 0; i < 4; ++i) {
            StoreSamples<To, Store>(LoadSamples<From>(from + i * LaneCount * sizeof(From)),
                                    to + i * LaneCount * sizeof(To));
        }
    }
};

template <class Kernel>
HWY_INLINE void ReadSpan(const void* source, float* rgba, std::size_t count) {
    ConvertRow<Kernel>(static_cast<const std::byte*>(source), reinterpret_cast<std::byte*>(rgba),
                       count);
}
template <class Kernel>
HWY_INLINE void WriteSpan(const float* rgba, void* destination, std::size_t count) {
    ConvertRow<Kernel>(reinterpret_cast<const std::byte*>(rgba),
                       static_cast<std::byte*>(destination), count);
}

// The reader and the writer of a format by its codec, to be given to RASTER_DISPATCH_SPANS().
// NOLINTBEGIN(bugprone-macro-parentheses): a template argument takes none
#undef RASTER_SPANS
#define RASTER_SPANS(FORMAT, CODEC)                                               \
    void Read##FORMAT(const void* source, float* rgba, std::size_t count) {       \
        ReadSpan<ReadPixels<CODEC>>(source, rgba, count);                         \
    }                                                                             \
    void Write##FORMAT(const float* rgba, void* destination, std::size_t count) { \
        WriteSpan<WritePixels<CODEC>>(rgba, destination, count);                  \
    }
// NOLINTEND(bugprone-macro-parentheses)

}  // namespace HWY_NAMESPACE
}  // namespace Raster
HWY_AFTER_NAMESPACE();

#endif
