#include "codecs/ZlibOutput.h"

#include "Kernel/Dispatch.h"

#include <algorithm>
#include <array>
#include <thread>
#include <utility>

namespace Raster {

namespace {

// Large enough that what is lost at each start, half a per mille, does not matter.
constexpr std::size_t PieceSize = std::size_t{256} << 10;

}  // namespace

std::unique_ptr<ZlibOutput> ZlibOutput::Create(int level, std::uint64_t size, Sink sink) {
    constexpr unsigned MostThreads = 8;  // each needs 800 kB
    const std::uint64_t pieces = std::max<std::uint64_t>(1, (size + PieceSize - 1) / PieceSize);
    const unsigned threads = std::clamp(std::thread::hardware_concurrency(), 1U, MostThreads);
    std::unique_ptr<ZlibOutput> output(new ZlibOutput(std::move(sink)));
    for (std::uint64_t i = 0; i < std::min<std::uint64_t>(pieces, threads); ++i) {
        Slot slot{MakeQuickDeflater(level), {}, {}};
        if (!slot.deflater) {
            return nullptr;
        }
        slot.piece.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(size, PieceSize)));
        output->m_slots.push_back(std::move(slot));
    }
    return output;
}

void ZlibOutput::Write(std::span<const std::byte> bytes) {
    m_checksum = m_slots[0].deflater->AddToChecksum(m_checksum, bytes);
    while (!bytes.empty()) {
        std::vector<std::byte>* piece = &m_slots[m_filling].piece;
        if (piece->size() == PieceSize) {
            // Not before there is more, so that the last piece is known as such.
            if (++m_filling == m_slots.size()) {
                CompressAll();
            }
            piece = &m_slots[m_filling].piece;
        }
        const std::size_t count = std::min(bytes.size(), PieceSize - piece->size());
        piece->insert(piece->end(), bytes.begin(),
                      bytes.begin() + static_cast<std::ptrdiff_t>(count));
        bytes = bytes.subspan(count);
    }
}

void ZlibOutput::Finish() {
    m_slots[m_filling].isLast = true;
    ++m_filling;
    CompressAll();
    std::array<std::byte, 4> checksum{};
    for (std::size_t i = 0; i < checksum.size(); ++i) {
        checksum[i] = static_cast<std::byte>(m_checksum >> (24 - 8 * i));
    }
    m_sink(checksum);
}

/// Compresses the pieces of the slots up to the one that is filled, and passes them on.
void ZlibOutput::CompressAll() {
    if (!std::exchange(m_hasBegun, true)) {
        // Deflate with a window of 32 kB, by the fastest algorithm.
        m_sink(std::as_bytes(std::span("\x78\x01", 2)));
    }
    Kernel::Dispatch::DispatchParallelFor(
        [](Slot& slot) { slot.deflater->Compress(slot.piece, slot.isLast, slot.compressed); },
        m_filling, m_slots.data(), Kernel::Dispatch::Priority::Normal,
        Kernel::Dispatch::ThreadPurpose::Pixels, 1);
    for (Slot& slot : std::span(m_slots).first(m_filling)) {
        m_sink(slot.compressed);
        slot.piece.clear();
    }
    m_filling = 0;
}

}  // namespace Raster
