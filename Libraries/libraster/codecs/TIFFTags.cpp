#include "codecs/TIFFTags.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <utility>

namespace Raster {

namespace {

class TIFFTagReader {
public:
    explicit TIFFTagReader(const TIFFFile& file)
        : m_file(file),
          m_photometric(file.Get<std::uint16_t>(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK)),
          m_bitCount(file.Get<std::uint16_t>(TIFFTAG_BITSPERSAMPLE)),
          m_sampleCount(file.Get<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL)),
          m_isFloat(file.Get<std::uint16_t>(TIFFTAG_SAMPLEFORMAT) == SAMPLEFORMAT_IEEEFP) {}

    TIFFTags Read() {
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
        return {std::move(m_layout), std::move(m_samples)};
    }

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

}  // namespace

TIFFTags ReadTIFFTags(const TIFFFile& file) {
    return TIFFTagReader(file).Read();
}

}  // namespace Raster
