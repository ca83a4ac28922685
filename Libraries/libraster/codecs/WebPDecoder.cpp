#include "codecs/WebPDecoder.h"

#include "Raster/CodecException.h"

#include "codecs/SystemLibrary.h"

#include <webp/decode.h>
#include <webp/demux.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace Raster {

namespace {

using std::string_view_literals::operator""sv;

// What we call of the two libraries. The functions in their headers that check versions are inline
// and call those that are called Internal.
#define RASTER_WEBP_FUNCTIONS(APPLY) \
    APPLY(WebPIDecGetRGB)            \
    APPLY(WebPIDelete)               \
    APPLY(WebPINewRGB)               \
    APPLY(WebPIUpdate)
#define RASTER_WEBP_DEMUX_FUNCTIONS(APPLY) \
    APPLY(WebPDemuxDelete)                 \
    APPLY(WebPDemuxGetChunk)               \
    APPLY(WebPDemuxGetI)                   \
    APPLY(WebPDemuxInternal)               \
    APPLY(WebPDemuxReleaseChunkIterator)

struct WebPFunctions {
// NOLINTNEXTLINE(bugprone-macro-parentheses): a name can't have any
#define RASTER_DECLARE(NAME) decltype(&::NAME) NAME = nullptr;
    RASTER_WEBP_FUNCTIONS(RASTER_DECLARE)
    RASTER_WEBP_DEMUX_FUNCTIONS(RASTER_DECLARE)
#undef RASTER_DECLARE
};

WebPFunctions LoadWebP() {
    WebPFunctions functions;
    const SystemLibrary decoder("WebP", "webp", 7);
    const SystemLibrary demuxer("WebP", "webpdemux", 2);
#define RASTER_LOAD(NAME) decoder.Find(#NAME, functions.NAME);
    RASTER_WEBP_FUNCTIONS(RASTER_LOAD)
#undef RASTER_LOAD
#define RASTER_LOAD(NAME) demuxer.Find(#NAME, functions.NAME);
    RASTER_WEBP_DEMUX_FUNCTIONS(RASTER_LOAD)
#undef RASTER_LOAD
    return functions;
}

/// Opens the libraries on the first call; throws CodecException if they can't be.
const WebPFunctions& GetWebP() {
    static const WebPFunctions functions = LoadWebP();
    return functions;
}

struct DeleteDemuxer {
    void operator()(WebPDemuxer* demuxer) const { GetWebP().WebPDemuxDelete(demuxer); }
};
struct DeleteIncremental {
    void operator()(WebPIDecoder* decoder) const { GetWebP().WebPIDelete(decoder); }
};

constexpr std::size_t RIFFHeaderSize = 12;  // "RIFF", the size of what follows, "WEBP"

[[noreturn]] void ThrowDamaged(const char* reason) {
    throw CodecException(std::string("the WebP data is damaged or of an unsupported kind: ") +
                         reason);
}

class WebPDecoder final : public Decoder {
public:
    explicit WebPDecoder(BufferedSource& source) : m_webP(GetWebP()), m_source(source) {}

    PictureHead ReadHead() override {
        ReadFile();
        const WebPData data{reinterpret_cast<const std::uint8_t*>(m_file.data()), m_file.size()};
        m_demuxer.reset(m_webP.WebPDemuxInternal(&data, 0, nullptr, WEBP_DEMUX_ABI_VERSION));
        if (m_demuxer == nullptr) {
            ThrowDamaged("its parts do not fit together");
        }
        const std::uint32_t width = Get(WEBP_FF_CANVAS_WIDTH);
        const std::uint32_t height = Get(WEBP_FF_CANVAS_HEIGHT);
        CheckSize("WebP", width, height);
        if ((Get(WEBP_FF_FORMAT_FLAGS) & ANIMATION_FLAG) != 0) {
            throw CodecException("the WebP data is an animation, which can't be read");
        }
        m_width = static_cast<int>(width);
        m_height = static_cast<int>(height);
        return {m_width,
                m_height,
                Format::RGBA8,
                ReadOrientation(),
                KeepFitting(ICCProfile::CreateFromBytes(FindChunk("ICCP")), Format::RGBA8),
                m_file.size() + std::uint64_t{4} * width * height};  // the decoder has all of it
    }

    int Start(const bool* abort) override {
        m_abort = abort;
        m_decoder.reset(m_webP.WebPINewRGB(MODE_RGBA, nullptr, 0, 0));
        if (m_decoder == nullptr) {
            throw std::bad_alloc();
        }
        return 1;
    }

    void ReadRow(std::byte* row) override {
        while (m_rowCount <= m_nextRow) {
            Advance();
        }
        const std::ptrdiff_t start = std::ptrdiff_t{m_nextRow} * m_stride;
        std::copy_n(std::as_bytes(std::span(m_pixels + start, 1)).data(),
                    static_cast<std::size_t>(m_width) * 4, row);
        ++m_nextRow;
    }

    void Finish() override {
        while (!m_isComplete) {
            Advance();
        }
    }

private:
    /// Reads all of it, since its Exif data come last. No memory is taken for what does not come.
    void ReadFile() {
        constexpr std::size_t MaximumFileSize = std::size_t{1} << 30;
        m_file.resize(RIFFHeaderSize);
        if (!m_source.Read(m_file)) {
            ThrowDamaged("it ends too early");
        }
        std::size_t size = 8;
        for (std::size_t i = 0; i < 4; ++i) {
            size += std::to_integer<std::size_t>(m_file[4 + i]) << (8 * i);
        }
        if (size > MaximumFileSize) {
            throw CodecException("the WebP data is too large: at most " +
                                 std::to_string(MaximumFileSize) + " bytes can be read");
        }
        while (m_file.size() < size) {
            const std::span<const std::byte> piece = m_source.TakePiece();
            if (piece.empty()) {
                ThrowDamaged("it ends too early");
            }
            const auto count = std::min(piece.size(), size - m_file.size());
            m_file.insert(m_file.end(), piece.begin(),
                          piece.begin() + static_cast<std::ptrdiff_t>(count));
        }
    }

    std::uint32_t Get(WebPFormatFeature feature) const {
        return m_webP.WebPDemuxGetI(m_demuxer.get(), feature);
    }

    /// The data of the first chunk of that kind, within the file; empty if there is none.
    std::span<const std::byte> FindChunk(const char* kind) const {
        WebPChunkIterator found{};
        if (m_webP.WebPDemuxGetChunk(m_demuxer.get(), kind, 1, &found) == 0) {
            return {};
        }
        const auto data = std::as_bytes(std::span(found.chunk.bytes, found.chunk.size));
        m_webP.WebPDemuxReleaseChunkIterator(&found);
        return data;
    }

    Orientation ReadOrientation() const {
        constexpr auto Name = "Exif\0\0"sv;  // in JPEG files; some writers have it here, too
        const std::span<const std::byte> exif = FindChunk("EXIF");
        const bool hasName =
            exif.size() > Name.size() &&
            std::ranges::equal(exif.first(Name.size()), std::as_bytes(std::span(Name)));
        return FindOrientation(exif.subspan(hasName ? Name.size() : 0));
    }

    /// Decodes the next part of the file.
    void Advance() {
        CheckAbort(m_abort);
        if (m_taken == m_file.size()) {
            ThrowDamaged("it ends too early");
        }
        // A header that is not complete is decoded anew each time: a fixed step would let the time
        // grow with the square of the size.
        constexpr std::size_t MinimumStep = 65'536;
        constexpr std::size_t MaximumStepCount = 64;
        const std::size_t step = std::max(MinimumStep, m_file.size() / MaximumStepCount + 1);
        m_taken = std::min(m_file.size(), m_taken + step);
        const VP8StatusCode status = m_webP.WebPIUpdate(
            m_decoder.get(), reinterpret_cast<const std::uint8_t*>(m_file.data()), m_taken);
        if (status == VP8_STATUS_OUT_OF_MEMORY) {
            throw std::bad_alloc();
        }
        if (status != VP8_STATUS_OK && status != VP8_STATUS_SUSPENDED) {
            ThrowDamaged("its pixels can't be decoded");
        }
        m_isComplete = status == VP8_STATUS_OK;
        TakeRows();
    }

    void TakeRows() {
        int width = 0;
        int height = 0;
        m_pixels = m_webP.WebPIDecGetRGB(m_decoder.get(), &m_rowCount, &width, &height, &m_stride);
        if (m_pixels == nullptr) {
            m_rowCount = 0;
        } else if (width != m_width || height != m_height) {
            ThrowDamaged("its sizes contradict each other");
        }
    }

    const WebPFunctions& m_webP;
    BufferedSource& m_source;
    std::vector<std::byte> m_file;
    std::unique_ptr<WebPDemuxer, DeleteDemuxer> m_demuxer;
    int m_width = 0;
    int m_height = 0;
    const bool* m_abort = nullptr;
    std::unique_ptr<WebPIDecoder, DeleteIncremental> m_decoder;
    std::size_t m_taken = 0;  // bytes that the decoder was given
    bool m_isComplete = false;
    const std::uint8_t* m_pixels = nullptr;  // in the decoder
    int m_stride = 0;
    int m_rowCount = 0;  // of those that are decoded
    int m_nextRow = 0;
};

}  // namespace

bool IsWebP(std::span<const std::byte> start) noexcept {
    const auto isAt = [start](std::size_t position, std::string_view text) {
        return std::ranges::equal(start.subspan(position, text.size()),
                                  std::as_bytes(std::span(text)));
    };
    return start.size() >= RIFFHeaderSize && isAt(0, "RIFF") && isAt(8, "WEBP");
}

std::unique_ptr<Decoder> MakeWebPDecoder(BufferedSource& source) {
    return std::make_unique<WebPDecoder>(source);
}

}  // namespace Raster
