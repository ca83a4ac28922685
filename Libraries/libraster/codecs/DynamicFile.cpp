#include "Raster/DynamicFile.h"

#include "Raster/CodecException.h"
#include "Raster/ICCManager.h"
#include "Raster/PixelAccessor.h"

#include "codecs/JPEGDecoder.h"
#include "codecs/PNGDecoder.h"
#include "codecs/RowTarget.h"

#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <utility>

namespace Raster {

CodecException::~CodecException() = default;

/// A file whose header was read.
class DynamicFile::Implementation {
public:
    explicit Implementation(Kernel::InStream& stream)
        : m_source(stream), m_decoder(MakeDecoder(m_source)), m_head(m_decoder->ReadHead()) {}

    const PictureHead& GetHead() const noexcept { return m_head; }
    int GetWidth() const noexcept {
        return m_head.orientation.isTransposed ? m_head.height : m_head.width;
    }
    int GetHeight() const noexcept {
        return m_head.orientation.isTransposed ? m_head.width : m_head.height;
    }

    void ReadPixels(DynamicBitmap& bitmap, bool* abort) {
        if (!m_decoder) {
            throw CodecException("the pixels were read already");
        }
        if (bitmap.GetWidth() != GetWidth() || bitmap.GetHeight() != GetHeight()) {
            throw CodecException("the bitmap is not of the picture's size");
        }
        const std::unique_ptr<Decoder> decoder = std::exchange(m_decoder, nullptr);
        if (!bitmap.GetProfile()) {
            bitmap.SetProfile(KeepFitting(m_head.profile, bitmap.GetFormat()));
        }
        const PixelFormat& format = GetPixelFormat(m_head.format);
        const PixelAccessor pixels(bitmap, abort);
        RowTarget target(pixels.GetView(), m_head.orientation,
                         {format, bitmap.GetPixelFormat(),
                          ICCManager::CreateConversion(m_head.profile, bitmap.GetProfile())});
        const int passes = decoder->Start(abort);
        if (passes == 1 || target.IsDirect()) {
            ReadRows(*decoder, passes, target, abort);
        } else {
            ReadInterlaced(*decoder, passes, target, abort);
        }
    }

private:
    static std::unique_ptr<Decoder> MakeDecoder(BufferedSource& source) {
        const std::span<const std::byte> start = source.PeekStart(8);
        if (IsPNG(start)) {
            return MakePNGDecoder(source);
        }
        if (IsJPEG(start)) {
            return MakeJPEGDecoder(source);
        }
        throw CodecException("the data is neither a PNG nor a JPEG picture");
    }

    void ReadRows(Decoder& decoder, int passes, RowTarget& target, const bool* abort) const {
        for (int pass = 0; pass < passes; ++pass) {
            for (int y = 0; y < m_head.height; ++y) {
                CheckAbort(abort);
                decoder.ReadRow(target.GetRow(y));
                target.FinishRow(y);
            }
        }
        decoder.Finish();
    }

    /// For interlaced files that must be converted or reoriented: decodes all passes into a bitmap
    /// of the file's format first.
    void ReadInterlaced(Decoder& decoder, int passes, RowTarget& target, const bool* abort) const {
        const PixelFormat& format = GetPixelFormat(m_head.format);
        DynamicBitmap whole(m_head.width, m_head.height, format, MipmapMode::None,
                            HardwareCachePolicy::Never);
        const PixelView rows = whole.GetHostView();
        RowTarget direct(rows, {}, {format, format});
        ReadRows(decoder, passes, direct, abort);
        for (int y = 0; y < m_head.height; ++y) {
            CheckAbort(abort);
            std::copy_n(rows.At(0, y), format.GetPixelSize() * static_cast<std::size_t>(rows.width),
                        target.GetRow(y));
            target.FinishRow(y);
        }
    }

    BufferedSource m_source;
    std::unique_ptr<Decoder> m_decoder;  // null once reading the pixels has begun
    PictureHead m_head;
};

DynamicFile::DynamicFile() = default;
DynamicFile::DynamicFile(DynamicFile&&) noexcept = default;
DynamicFile& DynamicFile::operator=(DynamicFile&&) noexcept = default;
DynamicFile::~DynamicFile() = default;

bool DynamicFile::CreateFromStream(Kernel::InStream& stream) {
    m_implementation.reset();
    m_error = {};
    try {
        m_implementation = std::make_unique<Implementation>(stream);
        return true;
    } catch (const CodecException& exception) {  // the edge where exceptions become an error text
        m_error = exception.what();
        return false;
    }
}

const Kernel::String& DynamicFile::GetError() const noexcept {
    return m_error;
}

int DynamicFile::GetWidth() const noexcept {
    return m_implementation ? m_implementation->GetWidth() : 0;
}

int DynamicFile::GetHeight() const noexcept {
    return m_implementation ? m_implementation->GetHeight() : 0;
}

Format DynamicFile::GetFormat() const noexcept {
    return m_implementation ? m_implementation->GetHead().format : Format::RGBA8;
}

Kernel::Consolidated<ICCProfile> DynamicFile::GetProfile() const {
    return m_implementation ? m_implementation->GetHead().profile
                            : Kernel::Consolidated<ICCProfile>();
}

bool DynamicFile::ReadPixels(DynamicBitmap& bitmap, bool* abort) {
    m_error = {};
    try {
        if (!m_implementation) {
            throw CodecException("no picture was opened");
        }
        m_implementation->ReadPixels(bitmap, abort);
        return true;
    } catch (const CodecException& exception) {  // as above
        m_error = exception.what();
        return false;
    }
}

namespace {

Kernel::Counted<DynamicBitmap> ReadAs(Kernel::InStream& stream, const Format* format, bool* abort) {
    DynamicFile file;
    if (file.CreateFromStream(stream)) {
        auto bitmap = Kernel::MakeCounted<DynamicBitmap>(
            file.GetWidth(), file.GetHeight(), format != nullptr ? *format : file.GetFormat());
        if (file.ReadPixels(*bitmap, abort)) {
            return bitmap;
        }
    }
    throw CodecException(std::string(file.GetError()));
}

}  // namespace

Kernel::Counted<DynamicBitmap> ReadPicture(Kernel::InStream& stream, bool* abort) {
    return ReadAs(stream, nullptr, abort);
}

Kernel::Counted<DynamicBitmap> ReadPicture(Kernel::InStream& stream, Format format, bool* abort) {
    return ReadAs(stream, &format, abort);
}

}  // namespace Raster
