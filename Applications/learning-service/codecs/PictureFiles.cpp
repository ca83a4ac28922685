#include "codecs/PictureFiles.h"

#include "Kernel/MemoryInOutStream.h"
#include "Raster/DynamicFile.h"
#include "Raster/JPEG.h"
#include "Raster/PNGBase.h"

#include <span>

namespace Service {

namespace {

std::string ToText(const Kernel::MemoryInOutStream& stream) {
    const std::span<const std::byte> bytes = stream.GetBytes();
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Bytes that somebody else owns.
class TextStream : public Kernel::InStream {
public:
    explicit TextStream(std::string_view text) : m_text(text) {}

    std::size_t Read(std::span<std::byte> buffer) override {
        const std::size_t count =
            m_text.copy(reinterpret_cast<char*>(buffer.data()), buffer.size());
        m_text.remove_prefix(count);
        return count;
    }

private:
    std::string_view m_text;
};

}  // namespace

bool IsJPEG(std::string_view bytes) noexcept {
    return bytes.starts_with("\xFF\xD8\xFF");
}

PicturePointer ReadPicture(std::string_view bytes, PictureKinds kinds) {
    const bool isPNG = bytes.starts_with("\x89PNG\r\n");
    if (!IsJPEG(bytes) && (kinds == PictureKinds::JPEG || !isPNG)) {
        return nullptr;
    }
    const auto stream = Kernel::MakeCounted<TextStream>(bytes);
    Raster::DynamicFile file;
    if (!file.CreateFromStream(*stream) ||
        std::int64_t{file.GetWidth()} * file.GetHeight() > MaxPixels) {
        return nullptr;
    }
    PicturePointer picture = MakePicture(file.GetWidth(), file.GetHeight());
    return file.ReadPixels(*picture) ? picture : nullptr;
}

std::string WriteJPEG(const Picture& picture, int quality) {
    const auto stream = Kernel::MakeCounted<Kernel::MemoryInOutStream>();
    Raster::ExportOptions options;
    options.SetQuality(quality);
    Raster::JPEGWriter writer(*stream, picture.GetWidth(), picture.GetHeight(),
                              picture.GetPixelFormat(), options);
    writer.WritePixels(picture.GetHostView());
    writer.Finish();
    return ToText(*stream);
}

std::string WritePNG(const Picture& picture) {
    const auto stream = Kernel::MakeCounted<Kernel::MemoryInOutStream>();
    Raster::PNGBase writer(*stream, picture.GetWidth(), picture.GetHeight(),
                           picture.GetPixelFormat(), {}, Raster::PNGBase::Alpha::Drop);
    writer.WritePixels(picture.GetHostView());
    writer.Finish();
    return ToText(*stream);
}

std::string WriteGreyPNG(const std::vector<std::uint8_t>& values, int width) {
    using Raster::Alpha8;
    using Raster::Intensity8;
    const Raster::PixelFormat& format =
        Raster::FormatTraits<Intensity8, Alpha8, Raster::X3, Raster::X4,
                             Raster::X5>::GetPixelFormat();
    const auto stream = Kernel::MakeCounted<Kernel::MemoryInOutStream>();
    const auto columns = static_cast<std::size_t>(width);
    Raster::PNGBase writer(*stream, width, static_cast<int>(values.size() / columns), format, {},
                           Raster::PNGBase::Alpha::Drop);
    std::vector<std::uint8_t> row(2 * columns, 255);
    for (std::size_t start = 0; start < values.size(); start += columns) {
        for (std::size_t x = 0; x < columns; ++x) {
            row[2 * x] = values[start + x];
        }
        writer.WriteRow(row.data());
    }
    writer.Finish();
    return ToText(*stream);
}

}  // namespace Service
