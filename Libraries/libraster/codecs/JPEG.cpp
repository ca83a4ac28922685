#include "Raster/JPEG.h"

#include "Raster/CodecException.h"

#include "codecs/Encoder.h"
#include "codecs/Landing.h"

#include <jpeglib.h>

#include <array>
#include <cstdio>  // jpeglib.h needs FILE
#include <span>
#include <vector>

namespace Raster {

namespace {

/// The format with the samples of the file, plus alpha.
const PixelFormat& ChooseFormat(const PixelFormat& format) {
    switch (format.code) {
        case Format::GreyA8:
        case Format::GreyA16:
            return GetPixelFormat(Format::GreyA8);
        case Format::CMYKA8:
            return format;
        default:
            return GetPixelFormat(Format::RGBA8);
    }
}

/// The colour space and the component count of the samples that libjpeg is given.
struct Samples {
    J_COLOR_SPACE space;
    int count;
    ColourSpace profileSpace;
};

Samples DescribeSamples(Format format) noexcept {
    switch (format) {
        case Format::GreyA8:
            return {JCS_GRAYSCALE, 1, ColourSpace::Grey};
        case Format::CMYKA8:
            return {JCS_CMYK, 4, ColourSpace::CMYK};
        default:
            return {JCS_EXT_RGBX, 4, ColourSpace::RGB};  // skips alpha
    }
}

struct CompressInfo : jpeg_compress_struct {
    CompressInfo() noexcept : jpeg_compress_struct{} {}
    CompressInfo(const CompressInfo&) = delete;
    CompressInfo& operator=(const CompressInfo&) = delete;
    ~CompressInfo() { jpeg_destroy_compress(this); }
};

}  // namespace

/// One compression: libjpeg's object with its callbacks.
class JPEGWriter::Implementation final : public Encoder {
public:
    Implementation(Kernel::OutStream& stream, int width, int height, const PixelFormat& format,
                   const ExportOptions& options, const SpanStages& stages, const bool* abort)
        : Encoder(width, height, MaximumSide, {format, ChooseFormat(format), stages}, abort),
          m_stream(stream),
          m_sampleFacts(DescribeSamples(GetTargetFormat().code)) {
        m_info.err = jpeg_std_error(&m_errors);
        m_info.client_data = this;
        m_errors.error_exit = [](j_common_ptr info) { Get(info).Fail(info); };
        m_errors.emit_message = [](j_common_ptr, int) {};
        m_landing.Run([this] { jpeg_create_compress(&m_info); });
        m_output.init_destination = [](j_compress_ptr info) { Get(info).ResetBuffer(); };
        m_output.empty_output_buffer = [](j_compress_ptr info) {
            Get(info).WriteBuffer(BufferSize);
            return boolean{TRUE};
        };
        m_output.term_destination = [](j_compress_ptr info) {
            Get(info).WriteBuffer(BufferSize - Get(info).m_output.free_in_buffer);
        };
        m_info.dest = &m_output;
        if (m_sampleFacts.space != JCS_EXT_RGBX) {
            m_samples.resize(static_cast<std::size_t>(width) *
                             static_cast<std::size_t>(m_sampleFacts.count));
        }
        Start(options);
    }

private:
    static constexpr int MaximumSide = JPEG_MAX_DIMENSION;
    static constexpr std::size_t BufferSize = 65'536;
    static constexpr int FullColourQuality = 90;
    // A profile has at most 255 segments, numbered by one byte.
    static constexpr std::size_t MaximumProfileSize = std::size_t{255} * 65'519;

    template <class Info>
    static Implementation& Get(Info* info) {
        return *static_cast<Implementation*>(info->client_data);
    }

    void Start(const ExportOptions& options) {
        const std::span<const std::byte> profile = GetProfileBytes(options);
        m_landing.Run([this, &options, profile] {
            m_info.image_width = static_cast<JDIMENSION>(GetWidth());
            m_info.image_height = static_cast<JDIMENSION>(GetHeight());
            m_info.input_components = m_sampleFacts.count;
            m_info.in_color_space = m_sampleFacts.space;
            jpeg_set_defaults(&m_info);  // with 4:2:0 chroma subsampling
            jpeg_set_quality(&m_info, options.GetQuality(), TRUE);
            if (options.GetQuality() >= FullColourQuality) {
                m_info.comp_info[0].h_samp_factor = 1;
                m_info.comp_info[0].v_samp_factor = 1;
            }
            jpeg_start_compress(&m_info, TRUE);
            if (!profile.empty()) {
                jpeg_write_icc_profile(&m_info, reinterpret_cast<const JOCTET*>(profile.data()),
                                       static_cast<unsigned>(profile.size()));
            }
        });
    }

    /// The bytes of the profile; empty if there is none or its colour space is not the file's.
    std::span<const std::byte> GetProfileBytes(const ExportOptions& options) const {
        const Kernel::Consolidated<ICCProfile>& profile = options.GetProfile();
        if (!profile || profile->GetColourSpace() != m_sampleFacts.profileSpace) {
            return {};
        }
        if (profile->GetBytes().size() > MaximumProfileSize) {
            throw CodecException("cannot write JPEG: the colour profile is too large");
        }
        return profile->GetBytes();
    }

    void EncodeRow(const std::byte* row) override {
        // libjpeg does not write to it.
        auto* samples = reinterpret_cast<JSAMPLE*>(const_cast<std::byte*>(row));  // NOLINT
        if (!m_samples.empty()) {
            Pack(row);
            samples = m_samples.data();
        }
        m_landing.Run([this, samples] {
            JSAMPROW rows[] = {samples};
            jpeg_write_scanlines(&m_info, rows, 1);
        });
    }

    void EncodeEnd() override {
        m_landing.Run([this] { jpeg_finish_compress(&m_info); });
        m_stream.Flush();
    }

    /// Drops alpha, and inverts CMYK, as Adobe's programs do and expect of files with an Adobe
    /// marker (APP14), which libjpeg writes.
    void Pack(const std::byte* row) {
        const auto count = static_cast<std::size_t>(m_sampleFacts.count);
        const int inversion = m_sampleFacts.space == JCS_CMYK ? 255 : 0;
        for (std::size_t i = 0; i < m_samples.size(); row += count + 1) {
            for (std::size_t channel = 0; channel < count; ++channel, ++i) {
                m_samples[i] = static_cast<JSAMPLE>(std::to_integer<int>(row[channel]) ^ inversion);
            }
        }
    }

    [[noreturn]] void Fail(j_common_ptr info) {
        std::array<char, JMSG_LENGTH_MAX> text{};
        info->err->format_message(info, text.data());
        m_landing.Fail(text.data());
    }

    void ResetBuffer() {
        m_output.next_output_byte = reinterpret_cast<JOCTET*>(m_buffer.data());
        m_output.free_in_buffer = m_buffer.size();
    }

    void WriteBuffer(std::size_t size) {
        m_landing.Guard([this, size] { m_stream.Write(std::span(m_buffer).first(size)); });
        ResetBuffer();
    }

    Kernel::OutStream& m_stream;
    Samples m_sampleFacts;
    Landing m_landing{"cannot write JPEG"};
    jpeg_error_mgr m_errors{};
    jpeg_destination_mgr m_output{};
    CompressInfo m_info;  // destroyed before what it points at
    std::array<std::byte, BufferSize> m_buffer;
    std::vector<JSAMPLE> m_samples;  // of one row; empty if libjpeg takes the pixels unchanged
};

JPEGWriter::JPEGWriter(Kernel::OutStream& stream, int width, int height, const PixelFormat& format,
                       const ExportOptions& options, const SpanStages& stages, const bool* abort)
    : m_implementation(std::make_unique<Implementation>(stream, width, height, format, options,
                                                        stages, abort)) {}

JPEGWriter::~JPEGWriter() = default;

void JPEGWriter::WriteRow(const void* pixels) {
    m_implementation->WriteRow(pixels);
}

void JPEGWriter::WritePixels(const ConstPixelView& pixels) {
    m_implementation->WritePixels(pixels);
}

void JPEGWriter::Finish() {
    m_implementation->Finish();
}

}  // namespace Raster
