#include "codecs/Jpeg.h"

#include "Raster/CodecException.h"

#include "codecs/Landing.h"

#include <jerror.h>
#include <jpeglib.h>

#include <algorithm>
#include <array>
#include <cstdio>  // jpeglib.h needs FILE

namespace Raster {

bool IsJpeg(std::span<const std::byte> start) noexcept {
    constexpr std::array<std::byte, 3> Signature{std::byte{0xFF}, std::byte{0xD8}, std::byte{0xFF}};
    return start.size() >= Signature.size() && std::ranges::equal(Signature, start.first(3));
}

namespace {

// A progressive file of a few kilobytes can ask for thousands of passes over a huge picture; honest
// ones have about ten.
constexpr int MaximumScanCount = 100;

/// One decompression: libjpeg's object with its callbacks.
class JpegReader {
public:
    explicit JpegReader(BufferedSource& source) : m_source(source) {
        m_info.err = jpeg_std_error(&m_errors);
        m_info.client_data = this;
        m_errors.error_exit = [](j_common_ptr info) { Get(info).Fail(info); };
        m_errors.emit_message = [](j_common_ptr info, int level) { Get(info).Judge(info, level); };
        m_landing.Run([this] { jpeg_create_decompress(&m_info); });
        SetCallbacks();
    }
    JpegReader(const JpegReader&) = delete;
    JpegReader& operator=(const JpegReader&) = delete;
    ~JpegReader() { jpeg_destroy_decompress(&m_info); }

    Picture Read() {
        m_landing.Run([this] { jpeg_read_header(&m_info, TRUE); });
        if (!Picture::IsSizeSupported(m_info.image_width, m_info.image_height)) {
            throw CodecException("the JPEG picture has too many pixels");
        }
        Picture picture(static_cast<int>(m_info.image_width),
                        static_cast<int>(m_info.image_height));
        const bool isInks = m_info.num_components == 4;
        m_info.out_color_space = isInks ? JCS_CMYK : JCS_EXT_RGBA;
        m_landing.Run([this, &picture, isInks] {
            jpeg_start_decompress(&m_info);
            while (m_info.output_scanline < m_info.output_height) {
                std::uint8_t* row = picture.GetRow(static_cast<int>(m_info.output_scanline)).data();
                jpeg_read_scanlines(&m_info, &row, 1);
                if (isInks) {
                    ConvertInks(row);
                }
            }
            jpeg_finish_decompress(&m_info);  // reads to the end mark
        });
        return picture;
    }

private:
    static JpegReader& Get(j_common_ptr info) {
        return *static_cast<JpegReader*>(info->client_data);
    }
    static JpegReader& Get(j_decompress_ptr info) {
        return *static_cast<JpegReader*>(info->client_data);
    }

    void SetCallbacks() {
        m_input.init_source = [](j_decompress_ptr) {};
        m_input.fill_input_buffer = [](j_decompress_ptr info) { return Get(info).Fill(); };
        m_input.skip_input_data = [](j_decompress_ptr info, long count) { Get(info).Skip(count); };
        m_input.resync_to_restart = jpeg_resync_to_restart;
        m_input.term_source = [](j_decompress_ptr) {};
        m_info.src = &m_input;
        m_progress.progress_monitor = [](j_common_ptr info) { Get(info).CheckScans(); };
        m_info.progress = &m_progress;
    }

    [[noreturn]] void Fail(j_common_ptr info) {
        std::array<char, JMSG_LENGTH_MAX> text{};
        info->err->format_message(info, text.data());
        m_landing.Fail(text.data());
    }

    // Negative levels are warnings: most of them stand for pixels that were made up.
    void Judge(j_common_ptr info, int level) {
        const int code = info->err->msg_code;
        if (level < 0 && code != JWRN_ADOBE_XFORM && code != JWRN_JFIF_MAJOR) {
            Fail(info);
        }
    }

    boolean Fill() {
        std::span<const std::byte> piece;
        m_landing.Guard([this, &piece] { piece = m_source.TakePiece(); });
        if (piece.empty()) {
            m_landing.Fail("it ends too early");
        }
        m_input.next_input_byte = reinterpret_cast<const JOCTET*>(piece.data());
        m_input.bytes_in_buffer = piece.size();
        return TRUE;
    }

    void Skip(long count) {
        auto rest = static_cast<std::size_t>(std::max(count, 0L));
        while (rest > m_input.bytes_in_buffer) {
            rest -= m_input.bytes_in_buffer;
            Fill();
        }
        m_input.next_input_byte += rest;
        m_input.bytes_in_buffer -= rest;
    }

    void CheckScans() {
        if (m_info.input_scan_number > MaximumScanCount) {
            m_landing.Fail("it has too many scans");
        }
    }

    /// Turns a row of cyan, magenta, yellow and black into RGBA. Adobe's programs, which write most
    /// of these files and mark them, store the inks inverted: 255 is no ink.
    void ConvertInks(std::uint8_t* row) const {
        const int inversion = m_info.saw_Adobe_marker ? 0 : 255;
        for (std::uint8_t* pixel = row; pixel != row + std::size_t{4} * m_info.output_width;
             pixel += 4) {
            const int black = pixel[3] ^ inversion;
            for (int i = 0; i < 3; ++i) {
                pixel[i] = static_cast<std::uint8_t>(((pixel[i] ^ inversion) * black + 127) / 255);
            }
            pixel[3] = 255;
        }
    }

    BufferedSource& m_source;
    Landing m_landing{"the JPEG data is damaged or of an unsupported kind"};
    jpeg_decompress_struct m_info{};
    jpeg_error_mgr m_errors{};
    jpeg_source_mgr m_input{};
    jpeg_progress_mgr m_progress{};
};

}  // namespace

Picture ReadJpeg(BufferedSource& source) {
    return JpegReader(source).Read();
}

}  // namespace Raster
