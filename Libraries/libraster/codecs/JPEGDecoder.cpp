#include "codecs/JPEGDecoder.h"

#include "Raster/CodecException.h"

#include "codecs/JPEGSegments.h"
#include "codecs/Landing.h"

#include <jerror.h>
#include <jpeglib.h>

#include <algorithm>
#include <array>
#include <cstdio>  // jpeglib.h needs FILE
#include <span>
#include <string>
#include <vector>

namespace Raster {

bool IsJPEG(std::span<const std::byte> start) noexcept {
    constexpr std::array<std::byte, 3> Signature{std::byte{0xFF}, std::byte{0xD8}, std::byte{0xFF}};
    return start.size() >= Signature.size() && std::ranges::equal(Signature, start.first(3));
}

namespace {

constexpr const char* Subject = "the JPEG data is damaged or of an unsupported kind";

// A progressive file of a few kilobytes can cause thousands of scans over a huge picture (denial of
// service); usual ones have about ten.
constexpr int MaximumScanCount = 100;

struct DecompressInfo : jpeg_decompress_struct {
    DecompressInfo() noexcept : jpeg_decompress_struct{} {}
    DecompressInfo(const DecompressInfo&) = delete;
    DecompressInfo& operator=(const DecompressInfo&) = delete;
    ~DecompressInfo() { jpeg_destroy_decompress(this); }
};

/// One decompression: libjpeg's object with its callbacks.
class JPEGDecoder final : public Decoder {
public:
    explicit JPEGDecoder(BufferedSource& source) : m_source(source) {
        m_info.err = jpeg_std_error(&m_errors);
        m_info.client_data = this;
        m_errors.error_exit = [](j_common_ptr info) { Get(info).Fail(info); };
        m_errors.emit_message = [](j_common_ptr info, int level) {
            Get(info).FailUnlessHarmless(info, level);
        };
        m_landing.Run([this] { jpeg_create_decompress(&m_info); });
        SetCallbacks();
    }

    PictureHead ReadHead() override {
        m_landing.Run([this] { jpeg_read_header(&m_info, TRUE); });
        CheckSize("JPEG", m_info.image_width, m_info.image_height);
        const Format format = ChooseFormat();
        return {static_cast<int>(m_info.image_width),
                static_cast<int>(m_info.image_height),
                format,
                m_segments.GetOrientation(),
                KeepFitting(m_segments.MakeProfile(), format),
                CountCoefficients() * sizeof(JCOEF)};
    }

    int Start(const bool* abort) override {
        m_abort = abort;
        m_landing.Run([this] { jpeg_start_decompress(&m_info); });
        CheckChannels();
        // The samples of one row, before alpha is added; empty if libjpeg writes the pixels.
        m_samples.resize(m_info.out_color_space == JCS_EXT_RGBA
                             ? 0
                             : std::size_t{m_info.output_width} *
                                   static_cast<std::size_t>(m_info.output_components));
        return 1;
    }

    void ReadRow(std::byte* row) override {
        auto* samples = m_samples.empty() ? reinterpret_cast<JSAMPLE*>(row) : m_samples.data();
        m_landing.Run([this, samples] {
            JSAMPROW rows[] = {samples};
            jpeg_read_scanlines(&m_info, rows, 1);
        });
        if (m_info.out_color_space == JCS_GRAYSCALE) {
            SpreadGrey(row);
        } else if (m_info.out_color_space == JCS_CMYK) {
            SpreadInks(row);
        }
    }

    void Finish() override {
        m_landing.Run([this] { jpeg_finish_decompress(&m_info); });  // reads up to the marker EOI
    }

private:
    static JPEGDecoder& Get(j_common_ptr info) {
        return *static_cast<JPEGDecoder*>(info->client_data);
    }
    static JPEGDecoder& Get(j_decompress_ptr info) {
        return *static_cast<JPEGDecoder*>(info->client_data);
    }

    void SetCallbacks() {
        m_input.init_source = [](j_decompress_ptr) {};
        m_input.fill_input_buffer = [](j_decompress_ptr info) { return Get(info).Fill(); };
        m_input.skip_input_data = [](j_decompress_ptr info, long count) { Get(info).Skip(count); };
        m_input.resync_to_restart = jpeg_resync_to_restart;
        m_input.term_source = [](j_decompress_ptr) {};
        m_info.src = &m_input;
        m_progress.progress_monitor = [](j_common_ptr info) { Get(info).CheckProgress(); };
        m_info.progress = &m_progress;
        // Deliberate: libjpeg could save the segments (jpeg_save_markers), but without a limit on
        // their total size.
        const auto take = [](j_decompress_ptr info) { return Get(info).TakeSegment(); };
        jpeg_set_marker_processor(&m_info, JPEG_APP0 + 1, take);
        jpeg_set_marker_processor(&m_info, JPEG_APP0 + 2, take);
    }

    Format ChooseFormat() {
        switch (m_info.num_components) {
            case 1:
                m_info.out_color_space = JCS_GRAYSCALE;
                return Format::GreyA8;
            case 3:
                m_info.out_color_space = JCS_EXT_RGBA;
                return Format::RGBA8;
            case 4:
                m_info.out_color_space = JCS_CMYK;
                return Format::CMYKA8;
            default:
                throw CodecException(std::string(Subject) + ": it has " +
                                     std::to_string(m_info.num_components) + " channels");
        }
    }

    /// Those that libjpeg keeps: all, if they come in several scans.
    std::uint64_t CountCoefficients() {
        std::uint64_t count = 0;
        if (jpeg_has_multiple_scans(&m_info)) {
            for (int i = 0; i < m_info.num_components; ++i) {
                const jpeg_component_info& component = m_info.comp_info[i];
                count += std::uint64_t{component.width_in_blocks} * component.height_in_blocks *
                         DCTSIZE2;
            }
        }
        return count;
    }

    [[noreturn]] void Fail(j_common_ptr info) {
        std::array<char, JMSG_LENGTH_MAX> text{};
        info->err->format_message(info, text.data());
        m_landing.Fail(text.data());
    }

    /// A component without a quantization table had no scan: libjpeg would make up its samples.
    void CheckChannels() const {
        for (int i = 0; i < m_info.num_components; ++i) {
            if (m_info.comp_info[i].quant_table == nullptr) {
                throw CodecException(std::string(Subject) + ": a channel is missing");
            }
        }
    }

    // Negative levels are warnings, most of them about corrupt data that libjpeg replaces by
    // made-up pixels. Harmless: many cameras put padding before the marker EOI, after all pixels.
    void FailUnlessHarmless(j_common_ptr info, int level) {
        const jpeg_error_mgr& errors = *info->err;
        const bool isHarmless =
            errors.msg_code == JWRN_ADOBE_XFORM || errors.msg_code == JWRN_JFIF_MAJOR ||
            (errors.msg_code == JWRN_EXTRANEOUS_DATA && errors.msg_parm.i[1] == JPEG_EOI);
        if (level < 0 && !isHarmless) {
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

    std::size_t TakeByte() {
        if (m_input.bytes_in_buffer == 0) {
            Fill();
        }
        --m_input.bytes_in_buffer;
        return *m_input.next_input_byte++;
    }

    /// Reads the segment after the marker that libjpeg has just read.
    boolean TakeSegment() {
        constexpr std::size_t LengthSize = 2;  // included in the length
        const std::size_t high = TakeByte();
        const std::size_t length = high << 8 | TakeByte();
        if (length < LengthSize) {
            m_landing.Fail("a segment has no length");
        }
        m_segmentSize = length - LengthSize;
        for (std::size_t i = 0; i < m_segmentSize; ++i) {
            m_segment[i] = static_cast<std::byte>(TakeByte());
        }
        m_landing.Guard([this] {
            const std::span segment = std::span(m_segment).first(m_segmentSize);
            if (m_info.unread_marker == JPEG_APP0 + 1) {
                m_segments.AddApp1(segment);
            } else {
                m_segments.AddApp2(segment);
            }
        });
        return TRUE;
    }

    void CheckProgress() {
        if (m_info.input_scan_number > MaximumScanCount) {
            m_landing.Fail("it has too many scans");
        }
        m_landing.Guard([this] { CheckAbort(m_abort); });
    }

    void SpreadGrey(std::byte* row) const {
        for (const JSAMPLE sample : m_samples) {
            row[0] = static_cast<std::byte>(sample);
            row[1] = std::byte{255};
            row += 2;
        }
    }

    /// Adobe's programs, which write most CMYK files and add an Adobe marker (APP14), store
    /// inverted CMYK: 255 is no ink.
    void SpreadInks(std::byte* row) const {
        const int inversion = m_info.saw_Adobe_marker ? 255 : 0;
        for (std::size_t i = 0; i < m_samples.size(); i += 4, row += 5) {
            for (std::size_t ink = 0; ink < 4; ++ink) {
                row[ink] = static_cast<std::byte>(m_samples[i + ink] ^ inversion);
            }
            row[4] = std::byte{255};
        }
    }

    BufferedSource& m_source;
    Landing m_landing{Subject};
    jpeg_error_mgr m_errors{};
    jpeg_source_mgr m_input{};
    jpeg_progress_mgr m_progress{};
    DecompressInfo m_info;  // destroyed before what it points at
    const bool* m_abort = nullptr;
    JPEGSegments m_segments;
    std::array<std::byte, 65536> m_segment{};  // the last one
    std::size_t m_segmentSize = 0;
    std::vector<JSAMPLE> m_samples;
};

}  // namespace

std::unique_ptr<Decoder> MakeJPEGDecoder(BufferedSource& source) {
    return std::make_unique<JPEGDecoder>(source);
}

}  // namespace Raster
