#include "Raster/CodecException.h"

#include "codecs/QuickInflate.h"

#include <isa-l/crc.h>
#include <isa-l/igzip_lib.h>

#include <algorithm>
#include <limits>
#include <string>

namespace Raster {

namespace {

// ISA-L writes to no input, though its pointers say otherwise.
std::uint8_t* GetInput(std::span<const std::byte> bytes) noexcept {
    return const_cast<std::uint8_t*>(reinterpret_cast<const std::uint8_t*>(bytes.data()));
}

std::uint32_t LimitSize(std::size_t size) noexcept {
    return static_cast<std::uint32_t>(
        std::min<std::size_t>(size, std::numeric_limits<std::int32_t>::max()));
}

class InflaterISAL final : public QuickInflater {
public:
    InflaterISAL() {
        isal_inflate_init(&m_state);
        m_state.crc_flag = ISAL_ZLIB;
    }

    std::size_t Inflate(std::span<const std::byte>& input, std::span<std::byte> output) override {
        const std::uint32_t offered = LimitSize(input.size());
        const std::uint32_t wanted = LimitSize(output.size());
        m_state.next_in = GetInput(input);
        m_state.avail_in = offered;
        m_state.next_out = reinterpret_cast<std::uint8_t*>(output.data());
        m_state.avail_out = wanted;
        const int result = isal_inflate(&m_state);
        const bool isStuck = m_state.avail_in > 0 && m_state.avail_out > 0 && !HasEnded();
        if (isStuck ||
            (result != ISAL_DECOMP_OK && result != ISAL_END_INPUT && result != ISAL_OUT_OVERFLOW)) {
            throw CodecException("the PNG data is damaged or of an unsupported kind: " +
                                 std::string(result == ISAL_INCORRECT_CHECKSUM
                                                 ? "the checksum of its pixels is wrong"
                                                 : "its pixels cannot be inflated"));
        }
        // It counts up to 2^32 only; nothing but the start of a stream depends on the count.
        constexpr std::uint32_t Most = std::uint32_t{1} << 30;
        m_state.total_out = std::min(m_state.total_out, Most);
        input = input.subspan(offered - m_state.avail_in);
        return wanted - m_state.avail_out;
    }

    bool HasEnded() const noexcept override { return m_state.block_state == ISAL_BLOCK_FINISH; }

    std::uint32_t AddToCRC(std::uint32_t crc,
                           std::span<const std::byte> bytes) const noexcept override {
        return crc32_gzip_refl(crc, GetInput(bytes), bytes.size());
    }

private:
    inflate_state m_state{};
};

}  // namespace

QuickInflater::~QuickInflater() = default;

std::unique_ptr<QuickInflater> MakeQuickInflater() {
    return std::make_unique<InflaterISAL>();
}

}  // namespace Raster
