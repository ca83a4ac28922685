#include "codecs/QuickDeflate.h"

#include <isa-l/igzip_lib.h>

#include <algorithm>
#include <stdexcept>

namespace Raster {

namespace {

std::uint8_t* GetPlain(std::span<const std::byte> bytes) noexcept {
    // ISA-L writes to no input, though its pointers say otherwise.
    return const_cast<std::uint8_t*>(reinterpret_cast<const std::uint8_t*>(bytes.data()));
}

class DeflaterISAL final : public QuickDeflater {
public:
    // Deliberate: not its level 3, which is slower and makes drawings larger than level 2 does.
    explicit DeflaterISAL(int level)
        : m_level(std::min(level, 2)),
          m_scratch(level == 1 ? ISAL_DEF_LVL1_DEFAULT : ISAL_DEF_LVL2_DEFAULT) {}

    void Compress(std::span<const std::byte> piece, bool isLast,
                  std::vector<std::byte>& target) override {
        isal_deflate_init(&m_stream);
        m_stream.level = static_cast<std::uint32_t>(m_level);
        m_stream.level_buf = m_scratch.data();
        m_stream.level_buf_size = static_cast<std::uint32_t>(m_scratch.size());
        m_stream.end_of_stream = isLast ? 1 : 0;
        m_stream.flush = isLast ? NO_FLUSH : FULL_FLUSH;
        m_stream.next_in = GetPlain(piece);
        m_stream.avail_in = static_cast<std::uint32_t>(piece.size());
        // How ISA-L divides the bytes into blocks depends on the room for them: all that there can
        // be, whatever `target` had, since the same pixels make the same file.
        const std::size_t room = piece.size() + piece.size() / 512 + 8192;
        std::size_t size = 0;
        do {
            target.resize(size + room);
            m_stream.next_out = reinterpret_cast<std::uint8_t*>(target.data() + size);
            m_stream.avail_out = static_cast<std::uint32_t>(target.size() - size);
            if (isal_deflate(&m_stream) != COMP_OK) {
                throw std::logic_error("ISA-L was called with wrong parameters");
            }
            size = target.size() - m_stream.avail_out;
        } while (m_stream.avail_out == 0);  // otherwise there is no more to come
        target.resize(size);
    }

    std::uint32_t AddToChecksum(std::uint32_t checksum,
                                std::span<const std::byte> bytes) const noexcept override {
        return isal_adler32(checksum, GetPlain(bytes), bytes.size());
    }

private:
    int m_level;
    std::vector<std::uint8_t> m_scratch;
    isal_zstream m_stream{};
};

}  // namespace

QuickDeflater::~QuickDeflater() = default;

std::unique_ptr<QuickDeflater> MakeQuickDeflater(int level) {
    return std::make_unique<DeflaterISAL>(level);
}

}  // namespace Raster
