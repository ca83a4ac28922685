// Writing JPEG files.

#pragma once

#include "Kernel/Streams.h"
#include "Raster/DynamicBitmap.h"
#include "Raster/ExportOptions.h"
#include "Raster/FormatTraits.h"
#include "Raster/SpanStage.h"

#include <memory>

namespace Raster {

/// Writes rows of any pixel format as a JPEG file. JPEG has no alpha: it is dropped, and the
/// straight colours are stored. Grey formats make grey files, CMYK formats make CMYK files as
/// Adobe's programs do (inverted), all others YCbCr. `stages` are applied to the pixels first.
///
/// The file is complete, and the stream flushed, after Finish(). Throws std::invalid_argument for a
/// side that is not 1..65500, CodecException for errors of libjpeg and once `abort`, if not null,
/// is set, and what the stream throws.
class RASTER_API JPEGWriter {
public:
    JPEGWriter(Kernel::OutStream& stream, int width, int height, const PixelFormat& format,
               const ExportOptions& options, const SpanStages& stages = {},
               const bool* abort = nullptr);
    JPEGWriter(const JPEGWriter&) = delete;
    JPEGWriter& operator=(const JPEGWriter&) = delete;
    ~JPEGWriter();

    /// Takes the next row from the top: `width` pixels of the format. Beyond the last one, throws
    /// std::logic_error.
    void WriteRow(const void* pixels);
    /// Takes all rows, from a bitmap of the size and format that were given; throws
    /// std::invalid_argument if it has others.
    void WritePixels(const ConstPixelView& pixels);
    /// Throws std::logic_error if rows are missing.
    void Finish();

private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};

/// The writer for a format that is known at compile time.
template <class C1, class C2, class C3, class C4, class C5>
class JPEG : public JPEGWriter {
public:
    JPEG(Kernel::OutStream& stream, int width, int height, const ExportOptions& options = {},
         const SpanStages& stages = {}, const bool* abort = nullptr)
        : JPEGWriter(stream, width, height, FormatTraits<C1, C2, C3, C4, C5>::GetPixelFormat(),
                     options, stages, abort) {}
};

}  // namespace Raster
