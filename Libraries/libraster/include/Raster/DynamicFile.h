// Reading picture files whose type is found from their data.

#pragma once

#include "Kernel/Streams.h"
#include "Raster/DynamicBitmap.h"

#include <memory>

namespace Raster {

/// A PNG or JPEG file of any kind: grey, palette, RGB, CMYK, 8 or 16 bits a sample, interlaced or
/// progressive. The stream is read in small pieces, in order; bytes beyond the picture may be read
/// as well.
///
/// Sizes and formats are as the picture is meant to be seen: a camera's orientation (Exif 2.32, tag
/// Orientation) is applied, if it comes before the pixels. Files are hostile until proven
/// otherwise: a size above the limits below is refused before memory is allocated for it, and there
/// is never half a picture.
class RASTER_API DynamicFile {
public:
    static constexpr int MaximumSide = 65'535;
    static constexpr std::uint64_t MaximumPixelCount = std::uint64_t{1} << 28;

    DynamicFile();
    DynamicFile(DynamicFile&&) noexcept;
    DynamicFile& operator=(DynamicFile&&) noexcept;
    ~DynamicFile();

    /// Reads the head of the picture that starts where `stream` stands; the stream must live until
    /// the pixels are read. False if it is no such picture or a damaged one, with the reason in
    /// GetError(). What the stream throws is passed on.
    bool CreateFromStream(Kernel::InStream& stream);
    /// One line that gives the reason of the last failure; empty if there was none.
    const Kernel::String& GetError() const noexcept;

    int GetWidth() const noexcept;
    int GetHeight() const noexcept;
    /// The bitmap format that holds the pixels without loss: RGBA8, RGBA16, GreyA8, GreyA16 or
    /// CMYKA8.
    Format GetFormat() const noexcept;
    /// The profile in the file; empty if there is none, or it is damaged or for other colours. What
    /// a PNG says of its gamma and primaries without a profile is passed over.
    Kernel::Consolidated<ICCProfile> GetProfile() const;

    /// Reads the pixels into `bitmap`, converting them to its format and, where both sides have a
    /// profile, to its profile; a bitmap without takes that of the file, unless it is one for other
    /// colours than the bitmap's. Works once: a size that differs is told before. False, with a
    /// reason, if any of the data is missing or damaged, or `abort` was set; the bitmap may then be
    /// partly written.
    bool ReadPixels(DynamicBitmap& bitmap, bool* abort = nullptr);

private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
    Kernel::String m_error;
};

/// The whole picture at once, in its own format or the one asked for. Throws CodecException with
/// the reason if there is none.
RASTER_API Kernel::Counted<DynamicBitmap> ReadPicture(Kernel::InStream& stream);
RASTER_API Kernel::Counted<DynamicBitmap> ReadPicture(Kernel::InStream& stream, Format format);

}  // namespace Raster
