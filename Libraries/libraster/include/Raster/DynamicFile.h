// Decoding picture files whose type is detected from their signature.

#pragma once

#include "Kernel/Streams.h"
#include "Raster/DynamicBitmap.h"
#include "Raster/Sampler.h"
#include "Raster/Spans.h"

#include <memory>

namespace Raster {

/// A PNG, JPEG, TIFF or WebP file of any kind: grey, palette, RGB, CMYK, 8 or 16 bits a sample,
/// interlaced or progressive; of a TIFF file the first picture, also of floats; no animation. The
/// stream is read in small pieces, in order; bytes beyond the picture may be read as well. Only of
/// TIFF a stream with random access is read where its parts lie; from others the whole file is held
/// in memory, up to a gigabyte, as that of WebP always is.
///
/// TIFF and WebP are read by libraries of the system that are opened when they are first needed; a
/// missing one is an error that names it.
///
/// Sizes and pixels are upright: the orientation (Exif 2.32, tag Orientation) is applied, in PNG
/// and JPEG if it comes before the pixels. Files are untrusted: what exceeds the memory budget is
/// refused before memory is allocated for it, and a truncated file is an error.
class RASTER_API DynamicFile {
public:
    /// How the pixels will be read, which decides what memory that takes: by ReadPixels(), their
    /// whole size in the file's own format; by ReadScaled(), as many rows as the filter needs at a
    /// time, and some 12 MB. What decoding keeps is added: for interlaced PNG and progressive JPEG
    /// files about the whole picture.
    enum class Reading : std::uint8_t { Whole, Scaled };

    static constexpr int MaximumSide = 65'535;
    /// The pixels of which every file can be read with the default budget.
    static constexpr std::uint64_t MaximumPixelCount = std::uint64_t{1} << 28;
    /// In bytes: 4 GiB. A bitmap that the pixels are read into counts in the file's format,
    /// whatever its own.
    static constexpr std::uint64_t DefaultMemoryBudget = MaximumPixelCount * 16;

    DynamicFile();
    DynamicFile(DynamicFile&&) noexcept;
    DynamicFile& operator=(DynamicFile&&) noexcept;
    ~DynamicFile();

    /// Reads the header of the picture at the current position of `stream`, which must live until
    /// the pixels are read. False, with the reason in GetError(), if it is not such a picture, is
    /// damaged, or cannot be read in `memoryBudget` bytes. Exceptions of the stream propagate.
    bool CreateFromStream(Kernel::InStream& stream, Reading reading = Reading::Whole,
                          std::uint64_t memoryBudget = DefaultMemoryBudget);
    /// One line that gives the reason of the last failure; empty if there was none.
    const Kernel::String& GetError() const noexcept;

    int GetWidth() const noexcept;
    int GetHeight() const noexcept;
    /// The bitmap format that holds the pixels without loss: RGBA8, RGBA16, RGBAF, GreyA8, GreyA16
    /// or CMYKA8. Inks of 16 bits are rounded to 8.
    Format GetFormat() const noexcept;
    /// The profile in the file; empty if there is none, or it is damaged or of another colour
    /// space. A PNG's sRGB chunk counts as a profile; its chunks gAMA and cHRM are ignored.
    Kernel::Consolidated<ICCProfile> GetProfile() const;

    /// Reads the pixels into `bitmap`, converting them to its format and, where both sides have a
    /// profile, to its profile. A bitmap without one takes that of the file; if that does not fit
    /// its format, such as a profile of inks, colours become sRGB, and the bitmap takes that
    /// profile if it fits. Works once, not counting calls with a bitmap of the wrong size, or of a
    /// profile to which colours can't be converted, which fail. False, with a reason, if any of the
    /// data is missing or damaged, or `abort` was set; the bitmap may then be partly written.
    bool ReadPixels(DynamicBitmap& bitmap, bool* abort = nullptr);

    /// Reads the pixels into a bitmap of any size, edge to edge, row by row: the pixels that
    /// Render() would draw from the whole picture as it is stored, with its format and profile,
    /// turned upright then. Bytes may be one step from those where colours are converted and the
    /// size stays. Otherwise as ReadPixels().
    bool ReadScaled(DynamicBitmap& bitmap, Sampler sampler = Sampler::Area, bool* abort = nullptr);
    /// The same into the `width` x `height` pixels of any target, such as the planes of a tensor
    /// (Raster/Planes.h); `profile`, if not empty, is that of the target.
    bool ReadScaled(SpanTarget& target, int width, int height, Sampler sampler = Sampler::Area,
                    const Kernel::Consolidated<ICCProfile>& profile = {}, bool* abort = nullptr);

private:
    class Implementation;

    template <class Step>
    bool Try(Step step);
    Implementation& GetOpened() const;

    std::unique_ptr<Implementation> m_implementation;
    Kernel::String m_error;
};

/// Decodes a whole picture, in the file's own format or in `format`. Throws CodecException with the
/// reason on failure, which it also is that `abort` was set.
RASTER_API Kernel::Counted<DynamicBitmap> ReadPicture(Kernel::InStream& stream,
                                                      bool* abort = nullptr);
RASTER_API Kernel::Counted<DynamicBitmap> ReadPicture(Kernel::InStream& stream, Format format,
                                                      bool* abort = nullptr);

}  // namespace Raster
