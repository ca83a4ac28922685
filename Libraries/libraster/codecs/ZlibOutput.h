// A stream in the zlib format (RFC 1950) that is compressed on several threads.

#pragma once

#include "codecs/QuickDeflate.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace Raster {

/// Cuts bytes into pieces and compresses as many at a time as there are processors. The pieces are
/// always of the same size, so that the output does not depend on processors.
class ZlibOutput {
public:
    using Sink = std::function<void(std::span<const std::byte>)>;

    /// For `size` bytes, or more, in all. `sink` takes the output, piece by piece, on the calling
    /// thread. Null if the build has no coder for that level.
    static std::unique_ptr<ZlibOutput> Create(int level, std::uint64_t size, Sink sink);

    void Write(std::span<const std::byte> bytes);
    /// To be called once, at the end, when something has been written.
    void Finish();

private:
    struct Slot {
        std::unique_ptr<QuickDeflater> deflater;
        std::vector<std::byte> piece;
        std::vector<std::byte> compressed;
        bool isLast = false;
    };

    explicit ZlibOutput(Sink sink) : m_sink(std::move(sink)) {}
    void CompressAll();

    Sink m_sink;
    std::vector<Slot> m_slots;
    std::size_t m_filling = 0;  // the slot whose piece is filled
    std::uint32_t m_checksum = 1;
    bool m_hasBegun = false;
};

}  // namespace Raster
