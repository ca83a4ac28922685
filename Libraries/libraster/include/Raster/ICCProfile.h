// Colour profiles (ICC.1:2022).

#pragma once

#include "Kernel/Consolidated.h"
#include "Kernel/String.h"
#include "Raster/Export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Raster {

/// The device colour space of a profile.
enum class ColourSpace : std::uint8_t { RGB, Grey, CMYK, Lab };

/// A colour profile, as its bytes. Immutable.
///
/// Threads: any.
class RASTER_API ICCProfile : public Kernel::Countable {
public:
    static constexpr std::size_t MaximumSize = std::size_t{16} << 20;

    using Identity = std::array<std::byte, 16>;

    /// Reads a profile; bytes after the size that it states are left out. Empty if the bytes are
    /// damaged, above MaximumSize, or have no usable transform to the profile connection space, for
    /// the classes device link, abstract and named colour, and for colour spaces other than those
    /// of ColourSpace.
    static Kernel::Consolidated<ICCProfile> CreateFromBytes(std::span<const std::byte> bytes);

    /// Equal for equal bytes.
    const Identity& GetIdentity() const noexcept { return m_identity; }
    /// Whether the other's bytes are the same but for the flags, the rendering intent and the ID,
    /// which change no colour.
    bool HasColoursOf(const ICCProfile& other) const noexcept;
    std::span<const std::byte> GetBytes() const noexcept { return m_bytes; }
    ColourSpace GetColourSpace() const noexcept { return m_colourSpace; }
    /// The description in the profile, in UTF-8; may be empty.
    const Kernel::String& GetDescription() const noexcept { return m_description; }

    /// Public for Kernel::MakeCounted only: use CreateFromBytes().
    ICCProfile(std::vector<std::byte> bytes, const Identity& identity, ColourSpace colourSpace,
               Kernel::String description);
    ~ICCProfile() override;

private:
    std::vector<std::byte> m_bytes;
    Identity m_identity;  // the MD5 sum of the bytes
    ColourSpace m_colourSpace;
    Kernel::String m_description;
};

}  // namespace Raster

extern template RASTER_API Kernel::Counted<const Raster::ICCProfile>
Kernel::Consolidated<Raster::ICCProfile>::Find(const Kernel::Counted<Raster::ICCProfile>& value);
