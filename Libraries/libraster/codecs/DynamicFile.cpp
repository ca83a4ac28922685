#include "Raster/DynamicFile.h"

#include "Kernel/Format.h"
#include "Raster/CodecException.h"
#include "Raster/ICCManager.h"
#include "Raster/PixelAccessor.h"

#include "codecs/JPEGDecoder.h"
#include "codecs/PNGDecoder.h"
#include "codecs/RowTarget.h"
#include "codecs/ScaledRows.h"
#include "codecs/TIFFDecoder.h"
#include "codecs/WebPDecoder.h"
#include "colour/AdoptedColours.h"

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
    Implementation(Kernel::InStream& stream, Reading reading, std::uint64_t memoryBudget)
        : m_source(stream),
          m_memoryBudget(memoryBudget),
          m_decoder(MakeDecoder(m_source)),
          m_head(m_decoder->ReadHead()) {
        CheckBudget(reading == Reading::Whole ? GetPixelsSize() : 0);
    }

    const PictureHead& GetHead() const noexcept { return m_head; }
    int GetWidth() const noexcept {
        return m_head.orientation.isTransposed ? m_head.height : m_head.width;
    }
    int GetHeight() const noexcept {
        return m_head.orientation.isTransposed ? m_head.width : m_head.height;
    }

    void ReadPixels(DynamicBitmap& bitmap, bool* abort) {
        CheckUnread();
        if (bitmap.GetWidth() != GetWidth() || bitmap.GetHeight() != GetHeight()) {
            throw CodecException("the bitmap is not of the picture's size");
        }
        CheckBudget(GetPixelsSize());
        const ColourConversion colours = ConvertColours(bitmap);
        const std::unique_ptr<Decoder> decoder = std::exchange(m_decoder, nullptr);
        const PixelFormat& format = GetPixelFormat(m_head.format);
        const PixelAccessor pixels(bitmap, abort);
        RowTarget target(pixels.GetView(), m_head.orientation,
                         {format, bitmap.GetPixelFormat(), colours});
        const int passes = decoder->Start(abort);
        if (passes == 1 || target.IsDirect()) {
            ReadRows(*decoder, passes, target, abort);
        } else {
            ReadInterlaced(*decoder, passes, target, abort);
        }
    }

    void ReadScaled(DynamicBitmap& bitmap, Sampler sampler, bool* abort) {
        CheckUnread();
        const ColourConversion colours = ConvertColours(bitmap);
        const PixelAccessor pixels(bitmap, abort);
        ViewTarget target(pixels.GetView(), colours.writer);
        ReadScaled(target, {bitmap.GetWidth(), bitmap.GetHeight(), sampler, colours}, abort);
    }

    void ReadScaled(SpanTarget& target, int width, int height, Sampler sampler,
                    const Kernel::Consolidated<ICCProfile>& profile, const bool* abort) {
        CheckUnread();
        const bool isGrey = profile && profile->GetColourSpace() == ColourSpace::Grey;
        ReadScaled(
            target,
            {width, height, sampler, Convert(isGrey ? Format::GreyA16 : Format::RGBAF, profile)},
            abort);
    }

private:
    void ReadScaled(SpanTarget& target, const Scaling& scaling, const bool* abort) {
        if (scaling.width < 1 || scaling.height < 1) {
            throw CodecException("there are no pixels to read the picture into");
        }
        ScaledRows rows(m_head, scaling, target, abort);
        CheckBudget(rows.GetSize());
        const std::unique_ptr<Decoder> decoder = std::exchange(m_decoder, nullptr);
        const int passes = decoder->Start(abort);
        if (passes == 1) {
            rows.Allocate();
            ReadRows(*decoder, passes, rows, abort);
        } else {
            const Kernel::Counted<DynamicBitmap> whole = ReadAsStored(*decoder, passes, abort);
            RenderScaled(whole->GetHostView(), m_head.orientation, scaling, target, abort);
        }
    }

    static std::unique_ptr<Decoder> MakeDecoder(BufferedSource& source) {
        const std::span<const std::byte> start = source.PeekStart(12);
        if (IsPNG(start)) {
            return MakePNGDecoder(source);
        }
        if (IsJPEG(start)) {
            return MakeJPEGDecoder(source);
        }
        if (IsTIFF(start)) {
            return MakeTIFFDecoder(source);
        }
        if (IsWebP(start)) {
            return MakeWebPDecoder(source);
        }
        throw CodecException("the data is no JPEG, PNG, TIFF or WebP picture");
    }

    void CheckUnread() const {
        if (!m_decoder) {
            throw CodecException("the pixels were read already");
        }
    }

    std::uint64_t GetPixelsSize() const noexcept {
        return static_cast<std::uint64_t>(m_head.width) *
               static_cast<std::uint64_t>(m_head.height) *
               GetPixelFormat(m_head.format).GetPixelSize();
    }

    void CheckBudget(std::uint64_t size) const {
        const std::uint64_t needed = size + m_head.heldSize;
        if (needed > m_memoryBudget) {
            throw CodecException(Kernel::Format("the picture of %1 x %2 pixels is too large: to "
                                                "read it takes %3 bytes, and the limit is %4",
                                                m_head.width, m_head.height, needed, m_memoryBudget)
                                     .c_str());
        }
    }

    /// Gives a bitmap without a profile the one that its pixels will have.
    ColourConversion ConvertColours(DynamicBitmap& bitmap) const {
        if (bitmap.GetProfile()) {
            return Convert(bitmap.GetFormat(), bitmap.GetProfile());
        }
        AdoptedColours adopted = AdoptColours(m_head.format, m_head.profile, bitmap.GetFormat());
        CheckPossible(adopted.conversion, adopted.profile);
        bitmap.SetProfile(adopted.profile);
        return adopted.conversion;
    }

    ColourConversion Convert(Format format, const Kernel::Consolidated<ICCProfile>& profile) const {
        ColourConversion colours =
            ICCManager::CreateConversion(m_head.format, m_head.profile, format, profile);
        CheckPossible(colours, profile);
        return colours;
    }

    static void CheckPossible(const ColourConversion& colours,
                              const Kernel::Consolidated<ICCProfile>& profile) {
        if (colours.answer == ColourConversion::Answer::Impossible) {
            throw CodecException(
                Kernel::Format("the colours cannot be converted to the profile of the bitmap, "
                               "\"%1\": that can only be converted from, or is for other colours",
                               profile ? profile->GetDescription() : "sRGB")
                    .c_str());
        }
    }

    template <class Target>
    void ReadRows(Decoder& decoder, int passes, Target& target, const bool* abort) const {
        for (int pass = 0; pass < passes; ++pass) {
            for (int y = 0; y < m_head.height; ++y) {
                CheckAbort(abort);
                decoder.ReadRow(target.GetRow(y));
                target.FinishRow(y);
            }
        }
        decoder.Finish();
    }

    /// All passes, in a bitmap of the file's format.
    Kernel::Counted<DynamicBitmap> ReadAsStored(Decoder& decoder, int passes,
                                                const bool* abort) const {
        const PixelFormat& format = GetPixelFormat(m_head.format);
        auto whole = Kernel::MakeCounted<DynamicBitmap>(
            m_head.width, m_head.height, format, MipmapMode::None, HardwareCachePolicy::Never);
        RowTarget direct(whole->GetHostView(), {}, {format, format});
        ReadRows(decoder, passes, direct, abort);
        return whole;
    }

    /// For interlaced files that must be converted or reoriented.
    void ReadInterlaced(Decoder& decoder, int passes, RowTarget& target, const bool* abort) const {
        const PixelFormat& format = GetPixelFormat(m_head.format);
        const Kernel::Counted<DynamicBitmap> whole = ReadAsStored(decoder, passes, abort);
        const PixelView rows = whole->GetHostView();
        for (int y = 0; y < m_head.height; ++y) {
            CheckAbort(abort);
            std::copy_n(rows.At(0, y), format.GetPixelSize() * static_cast<std::size_t>(rows.width),
                        target.GetRow(y));
            target.FinishRow(y);
        }
    }

    BufferedSource m_source;
    std::uint64_t m_memoryBudget;
    std::unique_ptr<Decoder> m_decoder;  // null once reading the pixels has begun
    PictureHead m_head;
};

DynamicFile::DynamicFile() = default;
DynamicFile::DynamicFile(DynamicFile&&) noexcept = default;
DynamicFile& DynamicFile::operator=(DynamicFile&&) noexcept = default;
DynamicFile::~DynamicFile() = default;

bool DynamicFile::CreateFromStream(Kernel::InStream& stream, Reading reading,
                                   std::uint64_t memoryBudget) {
    m_implementation.reset();
    return Try([&] {
        m_implementation = std::make_unique<Implementation>(stream, reading, memoryBudget);
    });
}

/// The edge where exceptions become an error text.
template <class Step>
bool DynamicFile::Try(Step step) {
    m_error = {};
    try {
        step();
        return true;
    } catch (const CodecException& exception) {
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

DynamicFile::Implementation& DynamicFile::GetOpened() const {
    if (!m_implementation) {
        throw CodecException("no picture was opened");
    }
    return *m_implementation;
}

bool DynamicFile::ReadPixels(DynamicBitmap& bitmap, bool* abort) {
    return Try([&] { GetOpened().ReadPixels(bitmap, abort); });
}

bool DynamicFile::ReadScaled(DynamicBitmap& bitmap, Sampler sampler, bool* abort) {
    return Try([&] { GetOpened().ReadScaled(bitmap, sampler, abort); });
}

bool DynamicFile::ReadScaled(SpanTarget& target, int width, int height, Sampler sampler,
                             const Kernel::Consolidated<ICCProfile>& profile, bool* abort) {
    return Try([&] { GetOpened().ReadScaled(target, width, height, sampler, profile, abort); });
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
