#include "codecs/TIFFDecoder.h"

#include "Raster/CodecException.h"

#include "codecs/RandomSource.h"
#include "codecs/SystemLibrary.h"
#include "codecs/TIFFSamples.h"

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Raster {

namespace {

// What we call of libtiff 4.5, the first one whose files have error handlers of their own.
#define RASTER_TIFF_FUNCTIONS(APPLY)            \
    APPLY(TIFFClientOpenExt)                    \
    APPLY(TIFFClose)                            \
    APPLY(TIFFGetField)                         \
    APPLY(TIFFGetFieldDefaulted)                \
    APPLY(TIFFIsCODECConfigured)                \
    APPLY(TIFFIsTiled)                          \
    APPLY(TIFFOpenOptionsAlloc)                 \
    APPLY(TIFFOpenOptionsFree)                  \
    APPLY(TIFFOpenOptionsSetErrorHandlerExtR)   \
    APPLY(TIFFOpenOptionsSetMaxSingleMemAlloc)  \
    APPLY(TIFFOpenOptionsSetWarningHandlerExtR) \
    APPLY(TIFFReadScanline)                     \
    APPLY(TIFFReadTile)                         \
    APPLY(TIFFScanlineSize64)                   \
    APPLY(TIFFSetField)                         \
    APPLY(TIFFTileRowSize64)                    \
    APPLY(TIFFTileSize64)

struct TIFFFunctions {
// NOLINTNEXTLINE(bugprone-macro-parentheses): a name can't have any
#define RASTER_DECLARE(NAME) decltype(&::NAME) NAME = nullptr;
    RASTER_TIFF_FUNCTIONS(RASTER_DECLARE)
#undef RASTER_DECLARE
};

TIFFFunctions LoadTIFF() {
    TIFFFunctions functions;
    const SystemLibrary library("TIFF", "tiff", 6);
#define RASTER_LOAD(NAME) library.Find(#NAME, functions.NAME);
    RASTER_TIFF_FUNCTIONS(RASTER_LOAD)
#undef RASTER_LOAD
    return functions;
}

/// Opens the library on the first call; throws CodecException if it can't be.
const TIFFFunctions& GetTIFF() {
    static const TIFFFunctions functions = LoadTIFF();
    return functions;
}

struct CloseTIFF {
    void operator()(TIFF* tiff) const { GetTIFF().TIFFClose(tiff); }
};
struct FreeTIFFOptions {
    void operator()(TIFFOpenOptions* options) const { GetTIFF().TIFFOpenOptionsFree(options); }
};

[[noreturn]] void ThrowDamagedTIFF(const std::string& reason) {
    throw CodecException("the TIFF data is damaged or of an unsupported kind: " + reason);
}

/// One file, open in libtiff, whose callbacks keep errors and exceptions until Run() ends: neither
/// may leave its frames otherwise.
class TIFFFile {
public:
    explicit TIFFFile(RandomSource& source) : m_functions(GetTIFF()), m_source(source) {
        // Strips and tiles as they are stored, and all else that depends on sizes in the file.
        constexpr tmsize_t MaximumAllocation = tmsize_t{1} << 30;
        const std::unique_ptr<TIFFOpenOptions, FreeTIFFOptions> options(
            m_functions.TIFFOpenOptionsAlloc());
        if (options == nullptr) {
            throw std::bad_alloc();
        }
        m_functions.TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), MaximumAllocation);
        m_functions.TIFFOpenOptionsSetErrorHandlerExtR(options.get(), TakeError, this);
        m_functions.TIFFOpenOptionsSetWarningHandlerExtR(options.get(), TakeWarning, this);
        m_tiff.reset(m_functions.TIFFClientOpenExt("TIFF", "r", this, Read, Write, Seek, Close,
                                                   GetSize, nullptr, nullptr, options.get()));
        Check(m_tiff != nullptr);
        m_reason.clear();  // of what is left out
    }

    /// Runs `call`, which is given libtiff's object. Throws if it returns false, an error was
    /// reported meanwhile, or a callback threw.
    template <class Call>
    void Run(Call call) {
        const bool isDone = call(m_tiff.get());
        Check(isDone && m_reason.empty());
    }

    /// Reading ends early when it is set.
    void SetAbort(const bool* abort) noexcept { m_abort = abort; }

    /// The value of a tag, or what the standard says if there is none.
    template <class Value>
    Value Get(std::uint32_t tag, Value otherwise = {}) const {
        Value value{};
        return m_functions.TIFFGetFieldDefaulted(m_tiff.get(), tag, &value) != 0 ? value
                                                                                 : otherwise;
    }

    /// An array; empty if the tag is missing.
    template <class Count, class Value>
    std::span<const Value> GetArray(std::uint32_t tag) const {
        Count count = 0;
        Value* values = nullptr;
        const bool isThere =
            m_functions.TIFFGetField(m_tiff.get(), tag, &count, &values) != 0 && values != nullptr;
        return {values, isThere ? count : Count{}};
    }

    TIFF* GetHandle() const noexcept { return m_tiff.get(); }

private:
    static TIFFFile& Get(thandle_t file) { return *static_cast<TIFFFile*>(file); }

    static int TakeError(TIFF* /*tiff*/, void* file, const char* /*module*/, const char* format,
                         std::va_list arguments) {
        Get(file).Note(format, arguments);
        return 1;  // not given to the handlers of the process, too
    }

    static int TakeWarning(TIFF* /*tiff*/, void* file, const char* module, const char* format,
                           std::va_list arguments) {
        // Most are about tags that we do not use. These two decoders make up pixels after them.
        const std::string_view name(module != nullptr ? module : "");
        if (name == "JPEGLib" || name.starts_with("Fax")) {
            Get(file).Note(format, arguments);
        }
        return 1;
    }

    static tmsize_t Read(thandle_t file, void* target, tmsize_t size) {
        return Get(file).Take({static_cast<std::byte*>(target), static_cast<std::size_t>(size)});
    }
    static tmsize_t Write(thandle_t /*file*/, void* /*bytes*/, tmsize_t /*size*/) { return 0; }
    static toff_t Seek(thandle_t file, toff_t offset, int origin) {
        TIFFFile& self = Get(file);
        const toff_t base = origin == SEEK_CUR   ? self.m_position
                            : origin == SEEK_END ? self.m_source.GetSize()
                                                 : 0;
        return self.m_position = base + offset;
    }
    static int Close(thandle_t /*file*/) { return 0; }
    static toff_t GetSize(thandle_t file) { return Get(file).m_source.GetSize(); }

    /// Keeps the first reason.
    void Note(const char* format, std::va_list arguments) noexcept {
        std::array<char, 256> text{};
        std::vsnprintf(text.data(), text.size(), format, arguments);
        KeepExceptions([this, &text] {
            if (m_reason.empty()) {
                m_reason = text.data();
            }
        });
    }

    tmsize_t Take(std::span<std::byte> target) noexcept {
        bool isRead = false;
        KeepExceptions([this, target, &isRead] {
            CheckAbort(m_abort);
            isRead = m_source.ReadAt(m_position, target);
            m_isCut = m_isCut || !isRead;
        });
        m_position += isRead ? target.size() : 0;
        return isRead ? static_cast<tmsize_t>(target.size()) : 0;
    }

    template <class Step>
    void KeepExceptions(Step step) noexcept {
        try {
            step();
        } catch (...) {  // for Check()
            m_thrown = std::current_exception();
        }
    }

    void Check(bool isGood) {
        if (m_thrown) {
            std::rethrow_exception(std::exchange(m_thrown, nullptr));
        }
        if (m_isCut) {
            ThrowDamagedTIFF("it ends too early");
        }
        if (!isGood) {
            ThrowDamagedTIFF(m_reason.empty() ? "it can't be decoded" : m_reason);
        }
    }

    const TIFFFunctions& m_functions;
    RandomSource& m_source;
    std::uint64_t m_position = 0;
    const bool* m_abort = nullptr;
    std::string m_reason;
    std::exception_ptr m_thrown;
    bool m_isCut = false;                     // bytes beyond the end were asked for
    std::unique_ptr<TIFF, CloseTIFF> m_tiff;  // closed before what its callbacks use
};

/// What the tags say of the samples, checked for what can be read.
class TIFFLayoutReader {
public:
    explicit TIFFLayoutReader(const TIFFFile& file)
        : m_file(file),
          m_photometric(file.Get<std::uint16_t>(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK)),
          m_bitCount(file.Get<std::uint16_t>(TIFFTAG_BITSPERSAMPLE)),
          m_sampleCount(file.Get<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL)),
          m_isFloat(file.Get<std::uint16_t>(TIFFTAG_SAMPLEFORMAT) == SAMPLEFORMAT_IEEEFP) {}

    TIFFLayout Read() {
        CheckCompression();
        CheckSampleType();
        m_layout.bitCount = m_bitCount;
        m_layout.colourCount = CountColours();
        if (m_sampleCount < m_layout.colourCount || m_sampleCount > MaximumSampleCount) {
            ThrowUnsupported("samples per pixel", m_sampleCount);
        }
        FindAlpha();
        const bool isPlanar =
            m_file.Get<std::uint16_t>(TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE;
        m_layout.sampleCount = isPlanar ? 1 : m_sampleCount;
        for (std::size_t i = 0; i < m_samples.size(); ++i) {
            const std::size_t sample = m_samples[i];
            m_layout.channels[i] =
                isPlanar ? TIFFLayout::Channel{i, 0} : TIFFLayout::Channel{0, sample};
        }
        SetFormat();
        return std::move(m_layout);
    }

    /// The samples that are used, colours first.
    const std::vector<std::size_t>& GetSamples() const noexcept { return m_samples; }

private:
    static constexpr std::size_t MaximumSampleCount = 64;

    [[noreturn]] static void ThrowUnsupported(const char* what, std::size_t value) {
        ThrowDamagedTIFF(std::string(what) + ": " + std::to_string(value));
    }

    std::uint16_t GetCompression() const {
        return m_file.Get<std::uint16_t>(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    }

    void CheckCompression() const {
        // Deliberate: the older way to store JPEG was given up for its contradictions in 1995, and
        // the reader for it guesses. The decoder of JBIG ends the process if memory is short, as a
        // few bytes can make it.
        const std::uint16_t compression = GetCompression();
        if (compression == COMPRESSION_OJPEG || compression == COMPRESSION_JBIG ||
            GetTIFF().TIFFIsCODECConfigured(compression) == 0) {
            ThrowUnsupported("compression", compression);
        }
    }

    void CheckSampleType() const {
        const auto type = m_file.Get<std::uint16_t>(TIFFTAG_SAMPLEFORMAT);
        const bool isInteger = type == SAMPLEFORMAT_UINT || type == SAMPLEFORMAT_VOID;
        const bool isKnown = m_isFloat ? m_bitCount == 32
                                       : m_bitCount == 1 || m_bitCount == 2 || m_bitCount == 4 ||
                                             m_bitCount == 8 || m_bitCount == 16;
        if (!isKnown) {
            ThrowUnsupported("bits per sample", m_bitCount);
        }
        if (!m_isFloat && !isInteger) {
            ThrowUnsupported("sample format", type);
        }
    }

    std::size_t CountColours() {
        switch (m_photometric) {
            case PHOTOMETRIC_MINISWHITE:
                m_layout.isInverted = true;
                return 1;
            case PHOTOMETRIC_MINISBLACK:
                return 1;
            case PHOTOMETRIC_RGB:
                return 3;
            case PHOTOMETRIC_PALETTE:
                ReadPalette();
                return 1;
            case PHOTOMETRIC_SEPARATED:
                if (m_file.Get<std::uint16_t>(TIFFTAG_INKSET) != INKSET_CMYK || m_isFloat) {
                    break;
                }
                return 4;
            case PHOTOMETRIC_YCBCR:
                // libjpeg makes RGB of it; elsewhere its samples are stored in groups.
                if (GetCompression() != COMPRESSION_JPEG || m_sampleCount != 3) {
                    break;
                }
                return 3;
            default:
                break;
        }
        ThrowUnsupported("photometric interpretation", m_photometric);
    }

    void ReadPalette() {
        std::array<std::uint16_t*, 3> colours{};
        const bool isThere = GetTIFF().TIFFGetField(m_file.GetHandle(), TIFFTAG_COLORMAP,
                                                    &colours[0], &colours[1], &colours[2]) != 0;
        if (!isThere || m_bitCount > 8 || m_isFloat) {
            ThrowUnsupported("palette of bits", m_bitCount);
        }
        m_layout.palette.resize(std::size_t{1} << m_bitCount);
        for (std::size_t i = 0; i < m_layout.palette.size(); ++i) {
            for (std::size_t channel = 0; channel < 3; ++channel) {
                // Exact for what was made from 8 bits, whether as 257 or 256 times that.
                m_layout.palette[i][channel] = static_cast<std::uint8_t>(colours[channel][i] >> 8);
            }
        }
    }

    /// Lists the samples. Further ones than the first alpha channel are masks and the like.
    void FindAlpha() {
        for (std::size_t i = 0; i < m_layout.colourCount; ++i) {
            m_samples.push_back(i);
        }
        const auto extras = m_file.GetArray<std::uint16_t, std::uint16_t>(TIFFTAG_EXTRASAMPLES);
        const auto alpha = std::ranges::find_if(extras, [](std::uint16_t extra) {
            return extra == EXTRASAMPLE_ASSOCALPHA || extra == EXTRASAMPLE_UNASSALPHA;
        });
        const std::size_t sample =
            m_layout.colourCount + static_cast<std::size_t>(alpha - extras.begin());
        if (alpha == extras.end() || sample >= m_sampleCount) {
            return;
        }
        if (!m_layout.palette.empty()) {
            ThrowUnsupported("extra samples beside a palette", extras.size());
        }
        m_layout.hasAlpha = true;
        m_layout.isPremultiplied = *alpha == EXTRASAMPLE_ASSOCALPHA;
        m_samples.push_back(sample);
    }

    void SetFormat() {
        const bool isDeep = m_bitCount == 16;
        if (m_isFloat) {
            m_layout.format = Format::RGBAF;
            SpreadFloatGrey();
        } else if (m_layout.colourCount == 4) {
            m_layout.format = Format::CMYKA8;
        } else if (m_layout.colourCount == 1 && m_layout.palette.empty()) {
            m_layout.format = isDeep ? Format::GreyA16 : Format::GreyA8;
        } else {
            m_layout.format = isDeep ? Format::RGBA16 : Format::RGBA8;
        }
    }

    /// There is no grey format of floats: grey ones become equal colours.
    void SpreadFloatGrey() {
        if (m_layout.colourCount == 1) {
            m_layout.colourCount = 3;
            m_layout.channels[3] = m_layout.channels[1];
            m_layout.channels[1] = m_layout.channels[2] = m_layout.channels[0];
        }
    }

    const TIFFFile& m_file;
    std::uint16_t m_photometric;
    std::uint16_t m_bitCount;
    std::size_t m_sampleCount;
    bool m_isFloat;
    TIFFLayout m_layout;
    std::vector<std::size_t> m_samples;
};

/// The bytes of `count` pixels in one plane.
std::uint64_t GetPackedSize(const TIFFLayout& layout, std::uint64_t count) {
    return (count * layout.sampleCount * static_cast<std::uint64_t>(layout.bitCount) + 7) / 8;
}

class TIFFDecoder final : public Decoder {
public:
    explicit TIFFDecoder(BufferedSource& source)
        : m_tiff(GetTIFF()), m_source(source), m_file(m_source) {}

    PictureHead ReadHead() override {
        const auto width = m_file.Get<std::uint32_t>(TIFFTAG_IMAGEWIDTH);
        const auto height = m_file.Get<std::uint32_t>(TIFFTAG_IMAGELENGTH);
        CheckSize("TIFF", width, height);
        if (width == 0 || height == 0) {
            ThrowDamagedTIFF("it has no pixels");
        }
        if ((m_file.Get<std::uint32_t>(TIFFTAG_SUBFILETYPE) & FILETYPE_REDUCEDIMAGE) != 0) {
            throw CodecException("the TIFF data begins with a preview, as raw files of cameras do");
        }
        m_width = width;
        m_height = height;
        TIFFLayoutReader reader(m_file);
        m_samples = TIFFSamples(reader.Read());
        m_fileSamples = reader.GetSamples();
        const Format format = m_samples.GetLayout().format;
        const auto profile = m_file.GetArray<std::uint32_t, std::byte>(TIFFTAG_ICCPROFILE);
        return {static_cast<int>(width),
                static_cast<int>(height),
                format,
                MakeOrientation(m_file.Get<std::uint16_t>(TIFFTAG_ORIENTATION)),
                KeepFitting(ICCProfile::CreateFromBytes(profile), format),
                GetHeldSize()};
    }

    int Start(const bool* abort) override {
        m_abort = abort;
        m_isTiled = m_tiff.TIFFIsTiled(m_file.GetHandle()) != 0;
        OpenPlanes();
        m_isTiled ? PrepareTiles() : PrepareRows();
        return 1;
    }

    void ReadRow(std::byte* row) override {
        if (!m_isTiled) {
            DecodeRow(row);
        } else {
            const std::size_t line = m_nextRow % m_tileHeight;
            if (line == 0) {
                DecodeTiles();
            }
            const std::size_t size = m_width * GetPixelSize();
            std::copy_n(m_band.data() + line * size, size, row);
        }
        ++m_nextRow;
    }

    void Finish() override {}

private:
    /// One plane of samples, or all of them interleaved.
    struct Plane {
        std::unique_ptr<TIFFFile> own;  // null for the first
        TIFFFile* file = nullptr;
        std::uint16_t sample = 0;
        std::unique_ptr<std::byte[]> samples;  // of a row or a tile
    };

    /// Of tiles a whole row is kept, as they are stored and as pixels.
    std::uint64_t GetHeldSize() const {
        if (m_tiff.TIFFIsTiled(m_file.GetHandle()) == 0) {
            return 0;
        }
        const std::uint64_t rows =
            std::min<std::uint64_t>(m_file.Get<std::uint32_t>(TIFFTAG_TILELENGTH), m_height);
        return m_tiff.TIFFTileSize64(m_file.GetHandle()) * m_samples.GetPlaneCount() +
               rows * m_width * GetPixelSize();
    }

    std::size_t GetPixelSize() const {
        return GetPixelFormat(m_samples.GetLayout().format).GetPixelSize();
    }

    /// Rows of a plane are decoded one after the other: planes that are stored apart need a file
    /// each, or going from one to the other would begin anew every time.
    void OpenPlanes() {
        for (std::size_t i = 0; i < m_samples.GetPlaneCount(); ++i) {
            Plane plane;
            if (i > 0 && !m_isTiled) {
                plane.own = std::make_unique<TIFFFile>(m_source);
            }
            plane.file = plane.own ? plane.own.get() : &m_file;
            plane.sample = static_cast<std::uint16_t>(m_fileSamples[i]);
            plane.file->SetAbort(m_abort);
            if (m_file.Get<std::uint16_t>(TIFFTAG_PHOTOMETRIC) == PHOTOMETRIC_YCBCR) {
                m_tiff.TIFFSetField(plane.file->GetHandle(), TIFFTAG_JPEGCOLORMODE,
                                    JPEGCOLORMODE_RGB);
            }
            m_planes.push_back(std::move(plane));
        }
    }

    void AllocatePlanes(std::uint64_t size) {
        for (Plane& plane : m_planes) {
            // Not cleared: what is not decoded is an error.
            plane.samples = std::make_unique_for_overwrite<std::byte[]>(size);
        }
    }

    void PrepareRows() {
        const std::uint64_t size = m_tiff.TIFFScanlineSize64(m_file.GetHandle());
        if (size < GetPackedSize(m_samples.GetLayout(), m_width) || size > MaximumRowSize) {
            ThrowDamagedTIFF("the size of a row is " + std::to_string(size));
        }
        AllocatePlanes(size);
    }

    void PrepareTiles() {
        m_tileWidth = m_file.Get<std::uint32_t>(TIFFTAG_TILEWIDTH);
        m_tileHeight = m_file.Get<std::uint32_t>(TIFFTAG_TILELENGTH);
        m_tileStride = m_tiff.TIFFTileRowSize64(m_file.GetHandle());
        const std::uint64_t size = m_tiff.TIFFTileSize64(m_file.GetHandle());
        const std::uint64_t pictureSize = std::uint64_t{m_width} * m_height * MaximumPixelSize;
        if (size == 0 || size > std::max(MaximumRowSize, 2 * pictureSize) ||
            size / m_tileHeight < m_tileStride ||
            m_tileStride < GetPackedSize(m_samples.GetLayout(), m_tileWidth)) {
            ThrowDamagedTIFF("the size of a tile is " + std::to_string(size));
        }
        AllocatePlanes(size);
        m_band.resize(std::min(m_tileHeight, m_height) * m_width * GetPixelSize());
    }

    void DecodeRow(std::byte* pixels) {
        std::array<const std::byte*, 5> rows{};
        for (std::size_t i = 0; i < m_planes.size(); ++i) {
            const Plane& plane = m_planes[i];
            plane.file->Run([this, &plane](TIFF* file) {
                return m_tiff.TIFFReadScanline(file, plane.samples.get(),
                                               static_cast<std::uint32_t>(m_nextRow),
                                               plane.sample) == 1;
            });
            rows[i] = plane.samples.get();
        }
        m_samples.Compose(rows, m_width, pixels);
    }

    /// Decodes the tiles from the next row on.
    void DecodeTiles() {
        for (std::size_t x = 0; x < m_width; x += m_tileWidth) {
            CheckAbort(m_abort);
            std::array<const std::byte*, 5> rows{};
            for (std::size_t i = 0; i < m_planes.size(); ++i) {
                const Plane& plane = m_planes[i];
                plane.file->Run([this, &plane, x](TIFF* file) {
                    return m_tiff.TIFFReadTile(
                               file, plane.samples.get(), static_cast<std::uint32_t>(x),
                               static_cast<std::uint32_t>(m_nextRow), 0, plane.sample) >= 0;
                });
                rows[i] = plane.samples.get();
            }
            PlaceTile(rows, x);
        }
    }

    void PlaceTile(std::array<const std::byte*, 5> rows, std::size_t x) {
        const std::size_t width = std::min(m_tileWidth, m_width - x);
        const std::size_t height = std::min(m_tileHeight, m_height - m_nextRow);
        for (std::size_t y = 0; y < height; ++y) {
            m_samples.Compose(rows, width, m_band.data() + (y * m_width + x) * GetPixelSize());
            for (std::size_t i = 0; i < m_planes.size(); ++i) {
                rows[i] += m_tileStride;
            }
        }
    }

    // A tile covers a picture that is smaller than it, too.
    static constexpr std::uint64_t MaximumRowSize = std::uint64_t{64} << 20;

    const TIFFFunctions& m_tiff;
    RandomSource m_source;
    TIFFFile m_file;
    TIFFSamples m_samples{TIFFLayout()};
    std::vector<std::size_t> m_fileSamples;  // that are used
    std::size_t m_width = 0;
    std::size_t m_height = 0;
    const bool* m_abort = nullptr;
    std::vector<Plane> m_planes;
    std::size_t m_nextRow = 0;
    bool m_isTiled = false;
    std::size_t m_tileWidth = 0;
    std::size_t m_tileHeight = 0;
    std::size_t m_tileStride = 0;
    std::vector<std::byte> m_band;  // pixels of a row of tiles
};

}  // namespace

bool IsTIFF(std::span<const std::byte> start) noexcept {
    constexpr std::array<std::string_view, 4> Signatures{
        {{"II*\0", 4}, {"MM\0*", 4}, {"II+\0", 4}, {"MM\0+", 4}}};
    return std::ranges::any_of(Signatures, [start](std::string_view signature) {
        return start.size() >= signature.size() &&
               std::ranges::equal(start.first(signature.size()),
                                  std::as_bytes(std::span(signature)));
    });
}

std::unique_ptr<Decoder> MakeTIFFDecoder(BufferedSource& source) {
    return std::make_unique<TIFFDecoder>(source);
}

}  // namespace Raster
