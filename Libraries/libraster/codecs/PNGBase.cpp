#include "Raster/PNGBase.h"

#include "Raster/CodecException.h"
#include "Raster/ICCManager.h"
#include "Raster/PixelAccessor.h"
#include "Raster/Rendering.h"

#include "codecs/Decoder.h"
#include "codecs/Encoder.h"
#include "codecs/Landing.h"
#include "codecs/PNGFilters.h"
#include "codecs/ZlibOutput.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <span>
#include <vector>

namespace Raster {

namespace {

bool IsGrey(const PixelFormat& format) noexcept {
    return format.code == Format::GreyA8 || format.code == Format::GreyA16;
}

bool IsStandard(const Kernel::Consolidated<ICCProfile>& profile) {
    return profile == GetStandardProfile();
}

struct WriteObjects {
    WriteObjects() = default;
    WriteObjects(const WriteObjects&) = delete;
    WriteObjects& operator=(const WriteObjects&) = delete;
    ~WriteObjects() { png_destroy_write_struct(&png, &info); }

    png_structp png = nullptr;
    png_infop info = nullptr;
};

/// The channels that are stored.
struct Channels {
    bool hasColour;
    bool hasAlpha;

    int GetColourType() const noexcept {
        return (hasColour ? PNG_COLOR_MASK_COLOR : 0) | (hasAlpha ? PNG_COLOR_MASK_ALPHA : 0);
    }
    std::size_t GetCount() const noexcept {
        return (hasColour ? std::size_t{3} : std::size_t{1}) + (hasAlpha ? 1 : 0);
    }
};

/// Makes libpng's objects, whose errors go to `landing`.
void CreateWriteObjects(Landing& landing, WriteObjects& objects) {
    landing.Run([&landing, &objects] {
        objects.png = png_create_write_struct(
            PNG_LIBPNG_VER_STRING, &landing,
            [](png_structp png, const char* reason) {
                static_cast<Landing*>(png_get_error_ptr(png))->Fail(reason);
            },
            [](png_structp, const char*) {});
        objects.info = objects.png != nullptr ? png_create_info_struct(objects.png) : nullptr;
    });
    if (objects.info == nullptr) {
        throw std::bad_alloc();
    }
}

void PutProfile(const WriteObjects& objects, const ICCProfile& profile) {
    const std::span<const std::byte> bytes = profile.GetBytes();
    png_set_iCCP(objects.png, objects.info, "ICC profile", PNG_COMPRESSION_TYPE_BASE,
                 reinterpret_cast<png_const_bytep>(bytes.data()),
                 static_cast<png_uint_32>(bytes.size()));
}

/// Whether PNG files can have it: libpng also rejects some that lcms2 takes.
bool IsStorable(const ICCProfile& profile) {
    const ColourSpace space = profile.GetColourSpace();
    if (space != ColourSpace::RGB && space != ColourSpace::Grey) {
        return false;
    }
    const int colourType = space == ColourSpace::RGB ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY;
    Landing landing("cannot write PNG");
    WriteObjects objects;
    CreateWriteObjects(landing, objects);
    landing.Run([&objects, &profile, colourType] {
        png_set_benign_errors(objects.png, 1);
        png_set_IHDR(objects.png, objects.info, 1, 1, 8, colourType, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        PutProfile(objects, profile);
    });
    return png_get_valid(objects.png, objects.info, PNG_INFO_iCCP) != 0;
}

/// The format of the file's sample type and colour model, from which the stored channels are taken.
const PixelFormat& ChooseFormat(const PixelFormat& format, bool hasColour) {
    const bool isGrey = IsGrey(format) && !hasColour;
    if (format.sampleSize == 1) {
        return GetPixelFormat(isGrey ? Format::GreyA8 : Format::RGBA8);
    }
    return GetPixelFormat(isGrey ? Format::GreyA16 : Format::RGBA16);
}

/// One PNG being written: libpng's objects with its callbacks.
///
/// For the quick levels the compressed rows are made here, where the build has a coder for that,
/// and libpng writes all else.
class PNGEncoder : public Encoder {
public:
    PNGEncoder(Kernel::OutStream& stream, int width, int height, const PixelFormat& format,
               const ExportOptions& options, const Channels& channels, const SpanStages& stages,
               const bool* abort, const Kernel::Counted<const SpanCodec>& reader = nullptr)
        : Encoder(width, height, std::numeric_limits<int>::max(),
                  {format, ChooseFormat(format, channels.hasColour), stages, reader}, abort),
          m_stream(stream),
          m_channels(channels) {
        CreateWriteObjects(m_landing, m_objects);
        const auto write = [](png_structp png, png_bytep bytes, std::size_t count) {
            static_cast<PNGEncoder*>(png_get_io_ptr(png))->Put(bytes, count);
        };
        png_set_write_fn(m_png, this, write, [](png_structp) {});
        if (channels.GetCount() != GetTargetFormat().channelCount) {
            m_samples.resize(static_cast<std::size_t>(width) * channels.GetCount() *
                             GetTargetFormat().sampleSize);
        }
        m_landing.Run([this, &options] {
            SetCompression(options.GetCompressionLevel());
            SetHead(options.GetProfile());
        });
        CompressQuickly(options.GetCompressionLevel(), abort);
    }

private:
    void SetCompression(int level) {
        constexpr int LastQuickLevel = QuickDeflater::LastLevel;
        constexpr std::size_t PieceSize = 65'536;  // of compressed data
        png_set_compression_level(m_png, level);
        png_set_compression_buffer_size(m_png, PieceSize);
        // Level 1 with the filter "up" is ten times quicker than the default and a fifth larger.
        png_set_filter(m_png, PNG_FILTER_TYPE_BASE,
                       level == 0                ? PNG_FILTER_NONE
                       : level <= LastQuickLevel ? PNG_FILTER_UP
                                                 : PNG_ALL_FILTERS);
    }

    /// Takes the compressing from libpng if the build has a coder for that level.
    void CompressQuickly(int level, const bool* abort) {
        const std::size_t size = static_cast<std::size_t>(GetWidth()) * m_channels.GetCount() *
                                 GetTargetFormat().sampleSize;
        if (level >= 1 && level <= QuickDeflater::LastLevel) {
            m_compressed =
                ZlibOutput::Create(level, (size + 1) * static_cast<std::uint64_t>(GetHeight()),
                                   [this, abort](std::span<const std::byte> piece) {
                                       CheckWriteAbort(abort);  // as several pieces come at a time
                                       WriteChunk("IDAT", piece);
                                   });
        }
        if (m_compressed) {
            m_row.resize(size);
            m_rowAbove.resize(size);
            m_filtered.resize(1 + size);
        }
    }

    void SetHead(const Kernel::Consolidated<ICCProfile>& profile) {
        png_set_user_limits(m_png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
        png_set_IHDR(m_png, m_info, static_cast<png_uint_32>(GetWidth()),
                     static_cast<png_uint_32>(GetHeight()), 8 * GetTargetFormat().sampleSize,
                     m_channels.GetColourType(), PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                     PNG_FILTER_TYPE_DEFAULT);
        if (profile) {
            SetProfile(profile);
        }
        png_write_info(m_png, m_info);
        if constexpr (std::endian::native == std::endian::little) {
            png_set_swap(m_png);
        }
    }

    void SetProfile(const Kernel::Consolidated<ICCProfile>& profile) {
        // A profile that libpng rejects is left out: readers that use libpng would reject it, too.
        png_set_benign_errors(m_png, 1);
        const ColourSpace space = m_channels.hasColour ? ColourSpace::RGB : ColourSpace::Grey;
        if (IsStandard(profile)) {
            png_set_sRGB(m_png, m_info, PNG_sRGB_INTENT_RELATIVE);
        } else if (profile->GetColourSpace() == space) {
            PutProfile(m_objects, *profile);
        }
    }

    void EncodeRow(const std::byte* row) override {
        if (!m_samples.empty()) {
            Pack(row);
            row = m_samples.data();
        }
        if (m_compressed) {
            Compress(row);
            return;
        }
        m_landing.Run(
            [this, row] { png_write_row(m_png, reinterpret_cast<png_const_bytep>(row)); });
    }

    void EncodeEnd() override {
        if (m_compressed) {
            m_compressed->Finish();
            WriteChunk("IEND", {});  // libpng's own end asks for rows that it has written
        } else {
            m_landing.Run([this] { png_write_end(m_png, m_info); });
        }
        m_stream.Flush();
    }

    void WriteChunk(const char* type, std::span<const std::byte> data) {
        m_landing.Run([this, type, data] {
            png_write_chunk(m_png, reinterpret_cast<png_const_bytep>(type),
                            reinterpret_cast<png_const_bytep>(data.data()), data.size());
        });
    }

    void Compress(const std::byte* row) {
        const std::size_t size = m_row.size();
        if (GetTargetFormat().sampleSize == 2 && std::endian::native == std::endian::little) {
            SwapSampleBytes(row, m_row.data(), size / 2);
        } else {
            std::copy_n(row, size, m_row.data());
        }
        m_filtered[0] = FilterTypeUp;
        FilterUp(m_row.data(), m_rowAbove.data(), m_filtered.data() + 1, size);
        m_row.swap(m_rowAbove);
        m_compressed->Write(m_filtered);
    }

    /// Copies the channels that are stored.
    void Pack(const std::byte* row) {
        const std::size_t sampleSize = GetTargetFormat().sampleSize;
        const std::size_t pixelSize = GetTargetFormat().GetPixelSize();
        const std::size_t colours = (m_channels.hasColour ? 3 : 1) * sampleSize;
        std::byte* target = m_samples.data();
        for (const std::byte* end = row + static_cast<std::size_t>(GetWidth()) * pixelSize;
             row != end; row += pixelSize) {
            target = std::copy_n(row, colours, target);
            if (m_channels.hasAlpha) {
                target = std::copy_n(row + pixelSize - sampleSize, sampleSize, target);
            }
        }
    }

    void Put(png_bytep bytes, std::size_t count) {
        m_landing.Guard(
            [this, bytes, count] { m_stream.Write(std::as_bytes(std::span(bytes, count))); });
    }

    Kernel::OutStream& m_stream;
    Channels m_channels;
    Landing m_landing{"cannot write PNG"};
    WriteObjects m_objects;
    png_structp& m_png = m_objects.png;
    png_infop& m_info = m_objects.info;
    std::vector<std::byte> m_samples;          // of one row; empty if no channel is left out
    std::unique_ptr<ZlibOutput> m_compressed;  // null if libpng compresses
    std::vector<std::byte> m_row;              // as stored
    std::vector<std::byte> m_rowAbove;
    std::vector<std::byte> m_filtered;
};

/// Adds the channels that pixels of a row need: colour if one is not grey, alpha if one is not
/// opaque.
template <class Sample, std::size_t Count>
void Examine(const std::byte* row, std::size_t width, Channels& channels) {
    std::array<Sample, Count> pixel;
    for (std::size_t x = 0; x < width; ++x, row += sizeof pixel) {
        std::memcpy(&pixel, row, sizeof pixel);
        if constexpr (Count > 2) {
            channels.hasColour |= pixel[0] != pixel[1] || pixel[0] != pixel[2];
        }
        channels.hasAlpha |= pixel.back() != std::numeric_limits<Sample>::max();
    }
}

using Examiner = void (*)(const std::byte*, std::size_t, Channels&);

Examiner GetExaminer(Format format) noexcept {
    switch (format) {
        case Format::GreyA8:
            return Examine<std::uint8_t, 2>;
        case Format::GreyA16:
            return Examine<std::uint16_t, 2>;
        case Format::RGBA8:
            return Examine<std::uint8_t, 4>;
        default:
            return Examine<std::uint16_t, 4>;
    }
}

/// `channels`, and those that a lossless file needs.
Channels FindChannels(const ConstPixelView& pixels, Channels channels, const SpanStages& stages,
                      const Kernel::Counted<const SpanCodec>& reader, const bool* abort) {
    const RowConverter converter(*pixels.format, ChooseFormat(*pixels.format, channels.hasColour),
                                 stages, reader);
    const PixelFormat& format = converter.GetTargetFormat();
    const Examiner examine = GetExaminer(format.code);
    const auto width = static_cast<std::size_t>(pixels.width);
    std::vector<std::byte> converted(converter.IsIdentity() ? 0 : width * format.GetPixelSize());
    for (int y = 0; y < pixels.height; ++y) {
        if (channels.GetCount() == format.channelCount) {
            break;
        }
        CheckWriteAbort(abort);
        const std::byte* row = pixels.At(0, y);
        if (!converter.IsIdentity()) {
            converter.Convert(row, converted.data(), width);
            row = converted.data();
        }
        examine(row, width, channels);
    }
    return channels;
}

/// The profile of `bitmap`, or sRGB, to which `rendering` converts then, if no PNG file can have
/// it.
void ChooseProfile(const DynamicBitmap& bitmap, ExportOptions& options, Rendering& rendering) {
    const Kernel::Consolidated<ICCProfile> profile = bitmap.GetProfile();
    if (!profile || IsStorable(*profile)) {
        options.SetProfile(profile);
        return;
    }
    options.SetProfile(GetStandardProfile());
    const ColourConversion colours = ICCManager::CreateConversion(
        bitmap.GetFormat(), profile, Format::RGBA8, options.GetProfile());
    if (!AddColours(rendering, colours)) {
        throw CodecException("cannot write PNG: the colours cannot be converted to sRGB");
    }
}

}  // namespace

class PNGBase::Implementation final : public PNGEncoder {
public:
    using PNGEncoder::PNGEncoder;
};

PNGBase::PNGBase(Kernel::OutStream& stream, int width, int height, const PixelFormat& format,
                 const ExportOptions& options, Alpha alpha, const SpanStages& stages,
                 const bool* abort)
    : m_implementation(std::make_unique<Implementation>(
          stream, width, height, format, options, Channels{!IsGrey(format), alpha == Alpha::Keep},
          stages, abort)) {}

PNGBase::~PNGBase() = default;

void PNGBase::WriteRow(const void* pixels) {
    m_implementation->WriteRow(pixels);
}

void PNGBase::WritePixels(const ConstPixelView& pixels) {
    m_implementation->WritePixels(pixels);
}

void PNGBase::Finish() {
    m_implementation->Finish();
}

void WritePNG(const DynamicBitmap& bitmap, Kernel::OutStream& stream, const ExportOptions& options,
              const SpanStages& stages, bool* abort) {
    ExportOptions complete = options;
    Rendering rendering;
    if (!complete.GetProfile()) {
        ChooseProfile(bitmap, complete, rendering);
    }
    rendering.stages.insert(rendering.stages.end(), stages.begin(), stages.end());
    const Kernel::Consolidated<ICCProfile>& profile = complete.GetProfile();
    // A grey PNG can't have an RGB profile.
    const bool needsColour =
        profile && profile->GetColourSpace() == ColourSpace::RGB && !IsStandard(profile);
    const ConstPixelAccessor pixels(bitmap, abort);
    CheckWriteAbort(abort);
    const ConstPixelView& view = pixels.GetView();
    PNGEncoder encoder(
        stream, view.width, view.height, *view.format, complete,
        FindChannels(view, {needsColour, false}, rendering.stages, rendering.reader, abort),
        rendering.stages, abort, rendering.reader);
    encoder.WritePixels(view);
    encoder.Finish();
}

}  // namespace Raster
