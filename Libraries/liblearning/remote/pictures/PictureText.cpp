#include "remote/pictures/PictureText.h"

#include "Kernel/Base64OutStream.h"
#include "Raster/JPEG.h"

#include <utility>

namespace Learning {

namespace {

class TextOutStream final : public Kernel::OutStream {
public:
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
    const auto text = Kernel::MakeCounted<TextOutStream>();
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
