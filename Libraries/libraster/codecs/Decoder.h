// What the reader of one kind of file offers: the head first, then rows.

#pragma once

#include "Raster/ICCProfile.h"
#include "Raster/PixelFormat.h"

#include "codecs/Orientation.h"

#include <cstddef>

namespace Raster {

/// What a file says before its pixels come.
struct PictureHead {
    int width = 0;  // as the pixels are stored
    int height = 0;
    Format format = Format::RGBA8;
    Orientation orientation;
    Kernel::Consolidated<ICCProfile> profile;
};

/// One file being read. All that can fail throws CodecException for what is wrong with the file,
/// and passes on what its stream throws; no other call may follow then.
class Decoder {
public:
    virtual ~Decoder();

    /// The first call.
    virtual PictureHead ReadHead() = 0;
    /// Prepares for the pixels, and returns how many times the rows go by: each time more of a row
    /// is added to what it already holds. Long steps end early when `abort` is set.
    virtual int Start(const bool* abort) = 0;
    /// The next row, in the format of the head.
    virtual void ReadRow(std::byte* row) = 0;
    /// Reads what follows the last row, so that a file that was cut is found out.
    virtual void Finish() = 0;

protected:
    Decoder() = default;
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;
};

/// Throws CodecException if a picture of `kind` ("PNG") is too large for DynamicFile.
void CheckSize(const char* kind, std::uint64_t width, std::uint64_t height);

/// Throws CodecException if the flag is set.
void CheckAbort(const bool* abort);

/// `profile`, or nothing if pixels of `format` can't have it.
///
/// Grey pixels may have a profile of red, green and blue: those of the intermediate.
Kernel::Consolidated<ICCProfile> KeepFitting(Kernel::Consolidated<ICCProfile> profile,
                                             Format format);

/// The profile that the bare statement "this is sRGB" stands for.
Kernel::Consolidated<ICCProfile> GetStandardProfile();

}  // namespace Raster
