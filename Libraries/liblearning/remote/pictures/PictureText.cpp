#include "remote/pictures/PictureText.h"

#include "Kernel/Base64OutStream.h"
#include "Raster/JPEG.h"

#include <algorithm>
#include <utility>

namespace Learning {

namespace {

/// Room for the text of that many pixels: as much as six bits for each come to, which is more than
/// photographs take. A text that grows is copied, and there twice for a moment; room that is not
/// used is only addresses.
std::size_t GuessTextSize(const Raster::ConstPixelView& pixels) noexcept {
    constexpr std::size_t MaximumGuess = std::size_t{16} << 20;
    return std::min(MaximumGuess, static_cast<std::size_t>(pixels.width) *
                                      static_cast<std::size_t>(pixels.height));
}

class TextOutStream final : public Kernel::OutStream {
public:
    explicit TextOutStream(std::size_t capacity) { m_text.reserve(capacity); }

    void Write(std::span<const std::byte> bytes) override {
        m_text.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    }
    Kernel::String Take() noexcept { return std::move(m_text); }

private:
    Kernel::String m_text;
};

}  // namespace

Kernel::String EncodeAsText(const Raster::ConstPixelView& pixels,
                            const Raster::ExportOptions& options, Kernel::AbortFlag abort) {
    const auto text = Kernel::MakeCounted<TextOutStream>(GuessTextSize(pixels));
    const auto base64 = Kernel::MakeCounted<Kernel::Base64OutStream>(text);
    Raster::JPEGWriter writer(*base64, pixels.width, pixels.height, *pixels.format, options);
    for (int y = 0; y < pixels.height; ++y) {
        Kernel::ThrowIfAborted(abort);
        writer.WriteRow(pixels.At(0, y));
    }
    writer.Finish();
    base64->FlushBase64();
    return text->Take();
}

}  // namespace Learning
