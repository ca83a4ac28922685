#include "codecs/TIFFDecoder.h"

#include "Raster/CodecException.h"

#include "codecs/RandomSource.h"
#include "codecs/TIFFFile.h"
#include "codecs/TIFFSamples.h"
#include "codecs/TIFFTags.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Raster {

namespace {

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
        TIFFTags tags = ReadTIFFTags(m_file);
        m_samples = TIFFSamples(std::move(tags.layout));
        m_fileSamples = std::move(tags.samples);
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
