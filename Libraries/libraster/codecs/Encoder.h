// The base of encoders: scanlines in order, then the end.

#pragma once

#include "Raster/PixelView.h"

#include "codecs/RowConverter.h"

#include <cstddef>
#include <vector>

namespace Raster {

/// One file being written. Calls out of order throw std::logic_error and change nothing. After any
/// other exception, CodecException for an abort among them, the file can't be completed, and every
/// further call throws that.
class Encoder {
public:
    /// Rows come in the converter's source format. Throws std::invalid_argument for a side that is
    /// not 1..`maximumSide`. `abort` may be null.
    Encoder(int width, int height, int maximumSide, RowConverter converter, const bool* abort);
    virtual ~Encoder();
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;

    // As those of JPEGWriter and PNGBase.
    void WriteRow(const void* pixels);
    void WritePixels(const ConstPixelView& pixels);
    void Finish();

protected:
    int GetWidth() const noexcept { return m_width; }
    int GetHeight() const noexcept { return m_height; }
    const PixelFormat& GetTargetFormat() const noexcept { return m_converter.GetTargetFormat(); }

private:
    /// Takes the next row, in the converter's target format.
    virtual void EncodeRow(const std::byte* row) = 0;
    /// Completes the file, and flushes the stream.
    virtual void EncodeEnd() = 0;

    template <class Step>
    void RunAt(bool isInOrder, Step step);

    RowConverter m_converter;
    int m_width;
    int m_height;
    const bool* m_abort;
    int m_nextRow = 0;
    bool m_isOpen = true;
    std::vector<std::byte> m_row;  // converted; empty if no conversion is needed
};

/// Throws CodecException if the flag is set.
void CheckWriteAbort(const bool* abort);

}  // namespace Raster
