#include "tests/codecs/SampleFiles.h"

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace Raster::Testing {

namespace {

enum Extra : std::uint16_t { None = 9, Unspecified = 0, Premultiplied = 1, Straight = 2 };

struct Kind {
    const char* name;
    Format format;
    std::uint16_t photometric;
    int bits;
    int colours;  // stored
    Extra extra;
    std::uint16_t compression;
    const char* mode;  // byte order, and 8 for BigTIFF
    int tileSide = 0;  // 0: strips
    bool isPlanar = false;
    int predictor = 0;
    int rowsPerStrip = 4;
};

constexpr Kind Kinds[]{
    {"TIFFGrey", Format::GreyA8, PHOTOMETRIC_MINISBLACK, 8, 1, None, COMPRESSION_LZW, "wl"},
    {"TIFFWhiteIsZero", Format::GreyA8, PHOTOMETRIC_MINISWHITE, 1, 1, None, COMPRESSION_CCITTFAX4,
     "wb"},
    {"TIFFGreyOf2Bits", Format::GreyA8, PHOTOMETRIC_MINISBLACK, 2, 1, Straight, COMPRESSION_NONE,
     "w8b"},
    {"TIFFGreyOf4Bits", Format::GreyA8, PHOTOMETRIC_MINISWHITE, 4, 1, None, COMPRESSION_PACKBITS,
     "wl", 16},
    {"TIFFGreyAndAlphaOf16Bits", Format::GreyA16, PHOTOMETRIC_MINISBLACK, 16, 1, Straight,
     COMPRESSION_ADOBE_DEFLATE, "wb", 0, false, 2},
    {"TIFFPalette", Format::RGBA8, PHOTOMETRIC_PALETTE, 8, 1, None, COMPRESSION_LZW, "wl"},
    {"TIFFPaletteOf4Bits", Format::RGBA8, PHOTOMETRIC_PALETTE, 4, 1, Unspecified, COMPRESSION_NONE,
     "wb", 16, true},
    {"TIFFPlanes", Format::RGBA8, PHOTOMETRIC_RGB, 8, 3, None, COMPRESSION_ADOBE_DEFLATE, "w8l", 0,
     true, 2},
    {"TIFFOneStrip", Format::RGBA16, PHOTOMETRIC_RGB, 16, 3, Unspecified, COMPRESSION_NONE, "wb", 0,
     false, 0, 1000},
    {"TIFFTilesOf16Bits", Format::RGBA16, PHOTOMETRIC_RGB, 16, 3, Straight, COMPRESSION_LZMA, "wl",
     16, true},
    {"TIFFPremultiplied", Format::RGBA8, PHOTOMETRIC_RGB, 8, 3, Premultiplied, COMPRESSION_ZSTD,
     "wl", 32},
    {"TIFFPremultiplied16", Format::RGBA16, PHOTOMETRIC_RGB, 16, 3, Premultiplied, COMPRESSION_LZW,
     "wb"},
    {"TIFFInks", Format::CMYKA8, PHOTOMETRIC_SEPARATED, 8, 4, None, COMPRESSION_PACKBITS, "wl"},
    {"TIFFInksOf16Bits", Format::CMYKA8, PHOTOMETRIC_SEPARATED, 16, 4, Straight, COMPRESSION_LZW,
     "wb", 0, true},
    {"TIFFFloats", Format::RGBAF, PHOTOMETRIC_RGB, 32, 3, Straight, COMPRESSION_ADOBE_DEFLATE, "wl",
     0, false, 3},
    {"TIFFGreyFloats", Format::RGBAF, PHOTOMETRIC_MINISBLACK, 32, 1, Premultiplied,
     COMPRESSION_NONE, "wl", 16},
};

/// Of `bits` bits; a premultiplied colour is at most its alpha.
int GetStored(const Kind& kind, int x, int y, int channel) {
    const int count = 1 << std::min(kind.bits, 16);
    const auto get = [&](int of) { return (x * 31 + y * 57 + of * 101) * 48611 % count; };
    const bool isColour = kind.extra == Premultiplied && channel < kind.colours;
    return isColour ? std::min(get(channel), get(kind.colours)) : get(channel);
}

std::uint16_t GetEntry(int index, int channel) {
    return static_cast<std::uint16_t>((index * 40 + channel * 90) % 256 * 257);
}

/// What it is as 0..255.
double Decode(const Kind& kind, int x, int y, int channel) {
    const int maximum = (1 << std::min(kind.bits, 16)) - 1;
    if (channel == kind.colours) {
        return 255.0 * GetStored(kind, x, y, channel) / maximum;
    }
    if (kind.photometric == PHOTOMETRIC_PALETTE) {
        return GetEntry(GetStored(kind, x, y, 0), channel) / 257;
    }
    // Of a premultiplied colour, its share of the alpha.
    const int whole = kind.extra == Premultiplied ? GetStored(kind, x, y, kind.colours) : maximum;
    const double colour = 255.0 * GetStored(kind, x, y, channel) / std::max(whole, 1);
    return kind.photometric == PHOTOMETRIC_MINISWHITE ? 255 - colour : colour;
}

int GetExpected(const Kind& kind, int x, int y, int channel) {
    if (channel == 3) {
        const bool hasAlpha = kind.extra == Straight || kind.extra == Premultiplied;
        return hasAlpha ? static_cast<int>(std::lround(Decode(kind, x, y, kind.colours))) : 255;
    }
    if (kind.colours == 4) {
        const double ink = Decode(kind, x, y, channel);
        return static_cast<int>(std::lround((255 - ink) * (255 - Decode(kind, x, y, 3)) / 255));
    }
    const bool isPalette = kind.photometric == PHOTOMETRIC_PALETTE;
    return static_cast<int>(std::lround(isPalette
                                            ? GetEntry(GetStored(kind, x, y, 0), channel) / 257
                                            : Decode(kind, x, y, kind.colours == 1 ? 0 : channel)));
}

struct Target {
    std::string bytes;
    std::size_t position = 0;
};

TIFF* Open(Target& target, const char* mode) {
    const auto get = [](thandle_t handle) -> Target& { return *static_cast<Target*>(handle); };
    static const auto read = [get](thandle_t handle, void* bytes, tmsize_t size) {
        Target& self = get(handle);
        const auto wanted = static_cast<std::size_t>(size);
        const std::size_t left = self.bytes.size() - std::min(self.position, self.bytes.size());
        const std::size_t count = std::min(wanted, left);
        std::memcpy(bytes, self.bytes.data() + self.position, count);
        self.position += count;
        return static_cast<tmsize_t>(count);
    };
    static const auto write = [get](thandle_t handle, void* bytes, tmsize_t size) {
        Target& self = get(handle);
        const auto count = static_cast<std::size_t>(size);
        self.bytes.resize(std::max(self.bytes.size(), self.position + count));
        std::memcpy(self.bytes.data() + self.position, bytes, count);
        self.position += count;
        return size;
    };
    static const auto seek = [get](thandle_t handle, toff_t offset, int origin) {
        Target& self = get(handle);
        const std::size_t base = origin == SEEK_END   ? self.bytes.size()
                                 : origin == SEEK_CUR ? self.position
                                                      : 0;
        return toff_t{self.position = base + offset};
    };
    return TIFFClientOpen(
        "", mode, &target, [](thandle_t h, void* b, tmsize_t n) { return read(h, b, n); },
        [](thandle_t h, void* b, tmsize_t n) { return write(h, b, n); },
        [](thandle_t h, toff_t o, int w) { return seek(h, o, w); }, [](thandle_t) { return 0; },
        [](thandle_t h) { return toff_t{static_cast<Target*>(h)->bytes.size()}; }, nullptr,
        nullptr);
}

void SetTags(TIFF* tiff, const Kind& kind) {
    const bool hasExtra = kind.extra != None;
    const bool isFloat = kind.bits == 32;
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, SampleWidth);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, SampleHeight);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, kind.bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, kind.colours + (hasExtra ? 1 : 0));
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, kind.photometric);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, kind.compression);
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, isFloat ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG,
                 kind.isPlanar ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
    if (kind.predictor != 0) {
        TIFFSetField(tiff, TIFFTAG_PREDICTOR, kind.predictor);
    }
    if (hasExtra) {
        const std::uint16_t extra = kind.extra;
        TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &extra);
    }
    if (kind.photometric == PHOTOMETRIC_PALETTE) {
        std::array<std::array<std::uint16_t, 256>, 3> map{};
        for (int i = 0; i < 3 * 256; ++i) {
            map[static_cast<std::size_t>(i / 256)][static_cast<std::size_t>(i % 256)] =
                GetEntry(i % 256, i / 256);
        }
        TIFFSetField(tiff, TIFFTAG_COLORMAP, map[0].data(), map[1].data(), map[2].data());
    }
    if (kind.tileSide != 0) {
        TIFFSetField(tiff, TIFFTAG_TILEWIDTH, kind.tileSide);
        TIFFSetField(tiff, TIFFTAG_TILELENGTH, kind.tileSide);
    } else {
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, kind.rowsPerStrip);
    }
}

/// The samples from `first` to `last` of a row, from x on, as they are stored.
std::string Pack(const Kind& kind, int x, int y, int width, int first, int last) {
    std::string bytes;
    int filled = 0;  // bits of the last byte
    for (int i = 0; i < width * (last - first); ++i) {
        const int value = GetStored(kind, x + i / (last - first), y, first + i % (last - first));
        const float real = static_cast<float>(value) / 65535;
        if (kind.bits >= 16) {
            const auto* from = kind.bits == 32 ? reinterpret_cast<const char*>(&real)
                                               : reinterpret_cast<const char*>(&value);
            bytes.append(from, from + kind.bits / 8);  // 16 bits: on little-endian machines
            continue;
        }
        bytes.resize(filled == 0 ? bytes.size() + 1 : bytes.size());
        filled += kind.bits;
        bytes.back() = static_cast<char>(bytes.back() | value << (8 - filled));
        filled %= 8;
    }
    return bytes;
}

SampleFile Make(const Kind& kind) {
    Target target;
    TIFF* const tiff = Open(target, kind.mode);
    SetTags(tiff, kind);
    const int samples = kind.colours + (kind.extra != None ? 1 : 0);
    const int step = kind.isPlanar ? 1 : samples;
    const int side = kind.tileSide;
    for (int first = 0; first < samples; first += step) {
        const auto plane = static_cast<std::uint16_t>(first);
        for (int y = 0; side == 0 && y < SampleHeight; ++y) {
            std::string row = Pack(kind, 0, y, SampleWidth, first, first + step);
            TIFFWriteScanline(tiff, row.data(), static_cast<std::uint32_t>(y), plane);
        }
        for (int y = 0; side != 0 && y < SampleHeight; y += side) {
            for (int x = 0; x < SampleWidth; x += side) {
                std::string tile;
                for (int line = y; line < y + side; ++line) {
                    tile += Pack(kind, x, line, side, first, first + step);
                }
                TIFFWriteTile(tiff, tile.data(), static_cast<std::uint32_t>(x),
                              static_cast<std::uint32_t>(y), 0, plane);
            }
        }
    }
    TIFFClose(tiff);
    SampleFile file{kind.name, kind.format, 0, target.bytes};
    for (int i = 0; i < SampleWidth * SampleHeight * 4; ++i) {
        file.expected.push_back(GetExpected(kind, i / 4 % SampleWidth, i / 4 / SampleWidth, i % 4));
    }
    file.colourType = FindColourType(file.expected);
    file.loss = kind.colours == 4 || kind.bits == 16 ? 1 : 0;  // rounded to 16 bits, then to 8
    return file;
}

}  // namespace

SampleFile MakeTIFF(int compression, int bits, int colours) {
    const bool isJPEG = compression == COMPRESSION_JPEG && colours == 3;
    const int photometric = isJPEG         ? PHOTOMETRIC_YCBCR
                            : colours == 3 ? PHOTOMETRIC_RGB
                                           : PHOTOMETRIC_MINISBLACK;
    const Kind kind{"",
                    colours == 3 ? Format::RGBA8 : Format::GreyA8,
                    static_cast<std::uint16_t>(photometric),
                    bits,
                    colours,
                    None,
                    static_cast<std::uint16_t>(compression),
                    "wl",
                    0,
                    false,
                    0,
                    SampleHeight};
    Target target;
    TIFF* const tiff = Open(target, kind.mode);
    SetTags(tiff, kind);
    if (compression == COMPRESSION_JPEG) {
        TIFFSetField(tiff, TIFFTAG_JPEGQUALITY, 100);
        TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    } else if (compression == COMPRESSION_WEBP) {
        TIFFSetField(tiff, TIFFTAG_WEBP_LOSSLESS, 1);
    }
    SampleFile file{kind.name, kind.format, 0};
    std::string strip;
    for (int y = 0; y < SampleHeight; ++y) {
        std::string row(static_cast<std::size_t>((SampleWidth * bits * colours + 7) / 8), '\0');
        for (int x = 0; x < SampleWidth; ++x) {
            const int grey = bits == 1 ? (x + y) / 3 % 2 : x * 7 + y * 5;
            row[static_cast<std::size_t>(x * bits * colours / 8)] |=
                static_cast<char>(bits == 1 ? grey << (7 - x % 8) : grey);
            for (int i = 1; i < colours; ++i) {
                row[static_cast<std::size_t>(x * colours + i)] = static_cast<char>(grey);
            }
            const int value = bits == 1 ? grey * 255 : grey;
            file.expected.insert(file.expected.end(), {value, value, value, 255});
        }
        strip += row;
    }
    TIFFWriteEncodedStrip(tiff, 0, strip.data(), static_cast<tmsize_t>(strip.size()));
    TIFFClose(tiff);
    file.bytes = target.bytes;
    return file;
}

void AppendTIFFs(std::vector<SampleFile>& files) {
    for (const Kind& kind : Kinds) {
        files.push_back(Make(kind));
    }
}

}  // namespace Raster::Testing
