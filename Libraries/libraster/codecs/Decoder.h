// The interface of decoders: the header first, then scanlines.

#pragma once

#include "Raster/ICCProfile.h"
#include "Raster/PixelFormat.h"

#include "codecs/Orientation.h"

#include <cstddef>

namespace Raster {

/// The header of a file.
struct PictureHead {
    int width = 0;  // as the pixels are stored
    int height = 0;
    Format format = Format::RGBA8;
    Orientation orientation;
    Kernel::Consolidated<ICCProfile> profile;
    /// The bytes that must be kept to decode even a few rows: 0, or about the whole picture.
    std::uint64_t heldSize = 0;
};

/// One file being read. All functions that can fail throw CodecException for errors of the file and
/// let exceptions of the stream propagate; no other call may follow then.
class Decoder {
public:
    virtual ~Decoder();

    /// The first call.
    virtual PictureHead ReadHead() = 0;
    /// Prepares for the pixels, and returns the number of interlace passes: each pass reads all
    /// rows and adds pixels to what a row already holds. Long steps end early when `abort` is set.
    virtual int Start(const bool* abort) = 0;
    /// Decodes the next scanline, in the format of the header.
    virtual void ReadRow(std::byte* row) = 0;
    /// Reads what follows the last row, so that a truncated file is detected.
    virtual void Finish() = 0;

protected:
    Decoder() = default;
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;
};

/// Throws CodecException if a side of a picture of `kind` ("PNG") is too large for DynamicFile.
void CheckSize(const char* kind, std::uint64_t width, std::uint64_t height);

/// Throws CodecException if the flag is set.
void CheckAbort(const bool* abort);

/// `profile`, or empty if it does not fit `format`.
Kernel::Consolidated<ICCProfile> KeepFitting(const Kernel::Consolidated<ICCProfile>& profile,
                                             Format format);

/// The sRGB profile, for files that are marked as sRGB without containing a profile.
Kernel::Consolidated<ICCProfile> GetStandardProfile();

}  // namespace Raster
