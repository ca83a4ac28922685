// Writing PNG files.

#pragma once

#include "Kernel/Streams.h"
#include "Raster/DynamicBitmap.h"
#include "Raster/ExportOptions.h"
#include "Raster/SpanStage.h"

#include <memory>

namespace Raster {

/// Writes rows of any pixel format as a PNG file: 16-bit and float formats with 16 bits a sample,
/// grey formats as grey, all others as RGB, with alpha unless Alpha::Drop is given. `stages` are
/// applied to the pixels first.
///
/// The file is complete, and the stream flushed, after Finish(). Throws std::invalid_argument for a
/// side that is not 1..2^31-1, CodecException for errors of libpng and once `abort`, if not null,
/// is set, and what the stream throws.
class RASTER_API PNGBase {
public:
    /// Whether the alpha channel is stored.
    enum class Alpha : std::uint8_t { Keep, Drop };

    PNGBase(Kernel::OutStream& stream, int width, int height, const PixelFormat& format,
            const ExportOptions& options = {}, Alpha alpha = Alpha::Keep,
            const SpanStages& stages = {}, const bool* abort = nullptr);
    PNGBase(const PNGBase&) = delete;
    PNGBase& operator=(const PNGBase&) = delete;
    ~PNGBase();

    /// As JPEGWriter.
    void WriteRow(const void* pixels);
    void WritePixels(const ConstPixelView& pixels);
    void Finish();

private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};

/// Writes `bitmap` in the smallest of PNG's 8-bit colour types, or 16-bit for 16-bit and float
/// formats, that is lossless: an alpha channel only if a pixel is not opaque, colours only if a
/// pixel is not grey. The profile is the bitmap's unless the options have one; colours whose
/// profile no PNG file can have, such as one of inks, become sRGB. `stages` and `abort` as for
/// PNGBase.
RASTER_API void WritePNG(const DynamicBitmap& bitmap, Kernel::OutStream& stream,
                         const ExportOptions& options = {}, const SpanStages& stages = {},
                         bool* abort = nullptr);

}  // namespace Raster
