#include "codecs/PNGDecoder.h"

#include "codecs/Landing.h"
#include "codecs/PNGRows.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <new>
#include <utility>

namespace Raster {

bool IsPNG(std::span<const std::byte> start) noexcept {
    constexpr std::array<unsigned char, 8> Signature{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    return std::ranges::equal(std::as_bytes(std::span(Signature)),
                              start.first(std::min(start.size(), Signature.size())));
}

namespace {

struct ReadObjects {
    ReadObjects() = default;
    ReadObjects(const ReadObjects&) = delete;
    ReadObjects& operator=(const ReadObjects&) = delete;
    ~ReadObjects() { png_destroy_read_struct(&png, &info, nullptr); }

    png_structp png = nullptr;
    png_infop info = nullptr;
};

/// One PNG being read: libpng's objects with its callbacks.
///
/// Where the build has a coder for that, the pixels of the usual kinds are decoded without libpng,
/// which reads the chunks before them.
class PNGDecoder final : public Decoder {
public:
    explicit PNGDecoder(BufferedSource& source) : m_source(source) {
        // Deliberate: warnings are dropped, as they concern ancillary chunks, not pixels.
        m_landing.Run([this] {
            m_png = png_create_read_struct(
                PNG_LIBPNG_VER_STRING, &m_landing,
                [](png_structp png, const char* reason) { GetLanding(png).Fail(reason); },
                [](png_structp, const char*) {});
            m_info = m_png != nullptr ? png_create_info_struct(m_png) : nullptr;
        });
        if (m_info == nullptr) {
            throw std::bad_alloc();
        }
        png_set_read_fn(m_png, this, [](png_structp png, png_bytep target, std::size_t count) {
            static_cast<PNGDecoder*>(png_get_io_ptr(png))->Take(target, count);
        });
        SetLimits();
    }

    PictureHead ReadHead() override {
        m_landing.Run([this] { png_read_info(m_png, m_info); });
        const png_uint_32 width = png_get_image_width(m_png, m_info);
        const png_uint_32 height = png_get_image_height(m_png, m_info);
        CheckSize("PNG", width, height);
        const bool isGrey = (png_get_color_type(m_png, m_info) & PNG_COLOR_MASK_COLOR) == 0;
        const bool isDeep = png_get_bit_depth(m_png, m_info) == 16;
        const Format format = isGrey ? (isDeep ? Format::GreyA16 : Format::GreyA8)
                                     : (isDeep ? Format::RGBA16 : Format::RGBA8);
        const bool isInterlaced = png_get_interlace_type(m_png, m_info) != PNG_INTERLACE_NONE;
        const std::uint64_t size =
            std::uint64_t{width} * height * GetPixelFormat(format).GetPixelSize();
        return {
            static_cast<int>(width), static_cast<int>(height),           format,
            ReadOrientation(),       KeepFitting(ReadProfile(), format), isInterlaced ? size : 0};
    }

    int Start(const bool* /*abort*/) override {
        if (IsUsual()) {
            if (auto inflater = MakeQuickInflater()) {
                m_rows = std::make_unique<PNGRows>(m_source, std::move(inflater), GetFirstSize(),
                                                   GetLayout());
                return 1;
            }
        }
        m_landing.Run([this] {
            png_set_expand(m_png);  // palettes, transparent colours, grey of 1, 2 and 4 bits
            png_set_add_alpha(m_png, 0xFFFF, PNG_FILLER_AFTER);
            if constexpr (std::endian::native == std::endian::little) {
                png_set_swap(m_png);
            }
            m_passes = png_set_interlace_handling(m_png);
        });
        return m_passes;
    }

    void ReadRow(std::byte* row) override {
        if (m_rows) {
            m_rows->ReadRow(row);
            return;
        }
        m_landing.Run(
            [this, row] { png_read_row(m_png, reinterpret_cast<png_bytep>(row), nullptr); });
    }

    void Finish() override {
        if (m_rows) {
            m_rows->Finish();
            return;
        }
        // Deliberate: not without m_info, as critical chunks that nobody knows are then let pass.
        m_landing.Run([this] { png_read_end(m_png, m_info); });
    }

private:
    static Landing& GetLanding(png_structp png) {
        return *static_cast<Landing*>(png_get_error_ptr(png));
    }

    void SetLimits() {
        m_landing.Run([this] {
            // Deliberate: no limit to the sides here, as CheckSize() has the better error message.
            png_set_user_limits(m_png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
            png_set_chunk_malloc_max(m_png, ICCProfile::MaximumSize);
            // Otherwise libpng would ignore a corrupt tRNS chunk, which changes pixels.
            png_set_crc_action(m_png, PNG_CRC_ERROR_QUIT, PNG_CRC_ERROR_QUIT);
            // Ancillary chunks that do not affect pixels are skipped: compressed text can be a
            // decompression bomb.
            png_set_keep_unknown_chunks(m_png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
            constexpr png_byte Wanted[] = "iCCP\0sRGB";
            png_set_keep_unknown_chunks(m_png, PNG_HANDLE_CHUNK_AS_DEFAULT, Wanted, 2);
            // Deliberate: libpng's own reader of this chunk allocates the size it claims without a
            // limit.
            constexpr png_byte Kept[] = "eXIf";
            png_set_keep_unknown_chunks(m_png, PNG_HANDLE_CHUNK_ALWAYS, Kept, 1);
        });
    }

    /// Whether PNGRows can decode it.
    bool IsUsual() const {
        constexpr int WholeSample = 8;
        return png_get_interlace_type(m_png, m_info) == PNG_INTERLACE_NONE &&
               png_get_bit_depth(m_png, m_info) >= WholeSample &&
               (png_get_color_type(m_png, m_info) & PNG_COLOR_MASK_PALETTE) == 0 &&
               png_get_valid(m_png, m_info, PNG_INFO_tRNS) == 0 &&
               std::memcmp(m_lastHead.data() + 4, "IDAT", 4) == 0;
    }

    PNGRows::Layout GetLayout() const {
        return {png_get_image_width(m_png, m_info), png_get_channels(m_png, m_info),
                png_get_bit_depth(m_png, m_info) / std::size_t{8}};
    }

    std::uint32_t GetFirstSize() const { return png_get_uint_32(m_lastHead.data()); }

    Orientation ReadOrientation() {
        png_unknown_chunkp exif = nullptr;
        if (png_get_unknown_chunks(m_png, m_info, &exif) == 0) {
            return {};
        }
        return FindOrientation(std::as_bytes(std::span(exif->data, exif->size)));
    }

    Kernel::Consolidated<ICCProfile> ReadProfile() {
        png_charp name = nullptr;
        int compression = 0;
        png_bytep data = nullptr;
        png_uint_32 size = 0;
        if (png_get_iCCP(m_png, m_info, &name, &compression, &data, &size) != 0) {
            return ICCProfile::CreateFromBytes(std::as_bytes(std::span(data, size)));
        }
        int intent = 0;
        const bool isStandard = png_get_sRGB(m_png, m_info, &intent) != 0;
        return isStandard ? GetStandardProfile() : Kernel::Consolidated<ICCProfile>();
    }

    void Take(png_bytep target, std::size_t count) {
        bool isWhole = false;
        m_landing.Guard([this, target, count, &isWhole] {
            isWhole = m_source.Read(std::as_writable_bytes(std::span(target, count)));
        });
        if (!isWhole) {
            m_landing.Fail("it ends too early");
        }
        if (count == m_lastHead.size()) {
            std::copy_n(target, count, m_lastHead.begin());
        }
    }

    BufferedSource& m_source;
    Landing m_landing{"the PNG data is damaged or of an unsupported kind"};
    ReadObjects m_objects;
    png_structp& m_png = m_objects.png;
    png_infop& m_info = m_objects.info;
    int m_passes = 1;
    // The last eight bytes that libpng has asked for at once: in the end the size and type of the
    // first IDAT chunk, at whose data it stops.
    std::array<png_byte, 8> m_lastHead{};
    std::unique_ptr<PNGRows> m_rows;  // null if libpng decodes the pixels
};

}  // namespace

std::unique_ptr<Decoder> MakePNGDecoder(BufferedSource& source) {
    return std::make_unique<PNGDecoder>(source);
}

}  // namespace Raster
