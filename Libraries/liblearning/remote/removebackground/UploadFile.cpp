#include "remote/removebackground/UploadFile.h"

#include "Kernel/Streams.h"
#include "Raster/JPEG.h"
#include "Raster/PNGBase.h"
#include "Raster/PixelAccessor.h"

#include "remote/control/ControlInForce.h"

#include <exception>

namespace Learning {

namespace {

constexpr int BestQuality = 100;
constexpr int QualityStep = 10;

struct TooLarge : std::exception {
    const char* what() const noexcept override { return "the file is too large"; }
};

/// Keeps bytes up to a limit, at which it throws TooLarge.
class LimitedStream final : public Kernel::OutStream {
public:
    explicit LimitedStream(std::size_t limit) noexcept : m_limit(limit) {}

    void Write(std::span<const std::byte> bytes) override {
        if (bytes.size() >= m_limit - m_bytes.size()) {
            throw TooLarge();
        }
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    }
    std::vector<std::byte> Take() noexcept { return std::move(m_bytes); }

private:
    const std::size_t m_limit;
    std::vector<std::byte> m_bytes;
};

template <class Writer>
void WriteRows(Writer& writer, const Raster::ConstPixelView& pixels) {
    for (int y = 0; y < pixels.height; ++y) {
        Kernel::ThrowIfAborted(ControlInForce::GetFlag());
        writer.WriteRow(pixels.At(0, y));
    }
    writer.Finish();
}

void WriteJPEG(Kernel::OutStream& stream, const Raster::ConstPixelView& pixels, int quality) {
    Raster::ExportOptions options;
    options.SetQuality(quality);
    Raster::JPEGWriter writer(stream, pixels.width, pixels.height, *pixels.format, options);
    WriteRows(writer, pixels);
}

/// The file that `write` writes to a stream; empty if it does not fit.
template <class Write>
std::vector<std::byte> EncodeWithin(std::size_t limit, const Write& write) {
    const auto stream = Kernel::MakeCounted<LimitedStream>(limit);
    try {
        write(*stream);
    } catch (const TooLarge&) {
        return {};
    }
    return stream->Take();
}

}  // namespace

std::vector<std::byte> EncodeForUpload(const Raster::DynamicBitmap& picture, std::size_t limit) {
    const Raster::ConstPixelAccessor accessor(picture);
    const Raster::ConstPixelView& pixels = accessor.GetView();
    if (picture.GetInverseAlphaBoundingBox() != Raster::EmptyRect) {
        return EncodeWithin(limit, [&](Kernel::OutStream& stream) {
            Raster::PNGBase writer(stream, pixels.width, pixels.height, *pixels.format);
            WriteRows(writer, pixels);
        });
    }
    std::vector<std::byte> file;
    for (int quality = BestQuality; quality >= 0 && file.empty(); quality -= QualityStep) {
        file = EncodeWithin(limit,
                            [&](Kernel::OutStream& stream) { WriteJPEG(stream, pixels, quality); });
    }
    return file;
}

}  // namespace Learning
