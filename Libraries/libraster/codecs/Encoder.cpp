#include "codecs/Encoder.h"

#include "Raster/AbortFlag.h"
#include "Raster/CodecException.h"

#include <stdexcept>
#include <utility>

namespace Raster {

Encoder::Encoder(int width, int height, int maximumSide, RowConverter converter, const bool* abort)
    : m_converter(std::move(converter)), m_width(width), m_height(height), m_abort(abort) {
    if (width < 1 || height < 1 || width > maximumSide || height > maximumSide) {
        throw std::invalid_argument("no picture file of this kind can have that size");
    }
    if (!m_converter.IsIdentity()) {
        m_row.resize(static_cast<std::size_t>(width) * GetTargetFormat().GetPixelSize());
    }
}

Encoder::~Encoder() = default;

/// Runs `step`; if it throws, the file counts as broken.
template <class Step>
void Encoder::RunAt(bool isInOrder, Step step) {
    if (!m_isOpen || !isInOrder) {
        throw std::logic_error(
            "the rows of a picture file are written once, all of them, in order");
    }
    m_isOpen = false;
    CheckWriteAbort(m_abort);
    step();
    m_isOpen = true;
}

void Encoder::WriteRow(const void* pixels) {
    RunAt(m_nextRow < m_height, [this, pixels] {
        const auto* row = static_cast<const std::byte*>(pixels);
        if (!m_row.empty()) {
            m_converter.Convert(row, m_row.data(), static_cast<std::size_t>(m_width));
            row = m_row.data();
        }
        EncodeRow(row);
        ++m_nextRow;
    });
}

void Encoder::WritePixels(const ConstPixelView& pixels) {
    if (pixels.width != m_width || pixels.height != m_height ||
        pixels.format != &m_converter.GetSourceFormat()) {
        throw std::invalid_argument("the pixels are not of the file's size and format");
    }
    for (int y = 0; y < m_height; ++y) {
        WriteRow(pixels.At(0, y));
    }
}

void Encoder::Finish() {
    RunAt(m_nextRow == m_height, [this] { EncodeEnd(); });
    m_isOpen = false;
}

void CheckWriteAbort(const bool* abort) {
    if (IsAborted(abort)) {
        throw CodecException("the writing was aborted");
    }
}

}  // namespace Raster
