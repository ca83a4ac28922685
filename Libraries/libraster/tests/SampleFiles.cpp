#include "tests/SampleFiles.h"

#include <jpeglib.h>
#include <png.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>  // jpeglib.h needs FILE
#include <cstdlib>
#include <span>

namespace Raster::Testing {

namespace {

void Append(Bytes& bytes, const unsigned char* data, std::size_t size) {
    const std::span<const std::byte> piece = std::as_bytes(std::span(data, size));
    bytes.insert(bytes.end(), piece.begin(), piece.end());
}

// --- PNG: sample values are spread over all that the depth allows ---

template <int Depth>
int GetSample(int x, int y, int channel) {
    return (x * 31 + y * 57 + channel * 101) * 48611 % (1 << Depth);
}

int GetPaletteEntry(int index, int channel) {
    return channel == 3 ? index * 16 : (index * 40 + channel * 90) % 256;
}

template <int ColourType, int Depth, bool IsInterlaced, bool HasTransparency>
Bytes MakePng() {
    Bytes bytes;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    const auto append = [](png_structp self, png_bytep data, std::size_t size) {
        Append(*static_cast<Bytes*>(png_get_io_ptr(self)), data, size);
    };
    png_set_write_fn(png, &bytes, append, nullptr);
    png_set_IHDR(png, info, SampleWidth, SampleHeight, Depth, ColourType,
                 IsInterlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    constexpr int PaletteSize = ColourType == PNG_COLOR_TYPE_PALETTE ? 1 << Depth : 0;
    std::vector<png_color> palette;
    std::vector<png_byte> alphas;
    for (int i = 0; i < PaletteSize; ++i) {
        const auto get = [i](int channel) {
            return static_cast<png_byte>(GetPaletteEntry(i, channel));
        };
        palette.push_back({get(0), get(1), get(2)});
        alphas.push_back(get(3));
    }
    if (PaletteSize != 0) {
        png_set_PLTE(png, info, palette.data(), PaletteSize);
    }
    if (HasTransparency) {
        const auto get = [](int channel) {
            return static_cast<png_uint_16>(GetSample<Depth>(0, 0, channel));
        };
        const png_color_16 first{0, get(0), get(1), get(2), get(0)};
        png_set_tRNS(png, info, alphas.data(), PaletteSize, &first);
    }
    png_write_info(png, info);
    png_set_packing(png);  // samples below 8 bits are given one a byte
    const int channels = png_get_channels(png, info);
    const int passes = png_set_interlace_handling(png);
    for (int line = 0; line < passes * SampleHeight; ++line) {
        std::vector<std::uint8_t> row;
        for (int i = 0; i < SampleWidth * channels; ++i) {
            const int value = GetSample<Depth>(i / channels, line % SampleHeight, i % channels);
            if (Depth == 16) {
                row.push_back(static_cast<std::uint8_t>(value >> 8));
            }
            row.push_back(static_cast<std::uint8_t>(value));
        }
        png_write_row(png, row.data());
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return bytes;
}

/// What the PNG standard says the pixel is.
template <int ColourType, int Depth, bool HasTransparency>
int ExpectPng(int x, int y, int channel) {
    if (ColourType == PNG_COLOR_TYPE_PALETTE) {
        const int entry = GetPaletteEntry(GetSample<Depth>(x, y, 0), channel);
        return channel == 3 && !HasTransparency ? 255 : entry;
    }
    const int colours = (ColourType & PNG_COLOR_MASK_COLOR) != 0 ? 3 : 1;
    if (channel < 3 || (ColourType & PNG_COLOR_MASK_ALPHA) != 0) {
        constexpr int Maximum = (1 << Depth) - 1;
        const int stored = channel < 3 ? std::min(channel, colours - 1) : colours;
        return (GetSample<Depth>(x, y, stored) * 255 + Maximum / 2) / Maximum;
    }
    bool isFirst = HasTransparency;
    for (int i = 0; i < colours; ++i) {
        isFirst = isFirst && GetSample<Depth>(x, y, i) == GetSample<Depth>(0, 0, i);
    }
    return isFirst ? 0 : 255;
}

template <int ColourType, int Depth, bool IsInterlaced = false, bool HasTransparency = false>
SampleFile DescribePng(const char* name) {
    constexpr int Alpha = HasTransparency ? PNG_COLOR_MASK_ALPHA : 0;
    return {name, MakePng<ColourType, Depth, IsInterlaced, HasTransparency>,
            ExpectPng<ColourType, Depth, HasTransparency>, 0,
            (ColourType | Alpha) & ~PNG_COLOR_MASK_PALETTE};
}

// --- JPEG: even colours in two halves, so that nothing but rounding is lost ---

constexpr int Inks[] = {30, 120, 200, 60};  // how much of each, 255 at most

/// Colours of the left half; on the right the channels stand in reverse.
int GetColour(int x, int channel) {
    constexpr int Colours[] = {200, 100, 50};
    return Colours[x < 8 ? channel : 2 - channel];
}

template <J_COLOR_SPACE Space, bool IsProgressive, bool IsAdobe>
Bytes MakeJpeg() {
    jpeg_compress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* data = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &data, &size);
    const bool isInks = Space == JCS_CMYK || Space == JCS_YCCK;
    info.image_width = SampleWidth;
    info.image_height = SampleHeight;
    info.input_components = isInks ? 4 : 3;
    info.in_color_space = isInks ? JCS_CMYK : JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_colorspace(&info, Space);
    info.write_Adobe_marker = IsAdobe ? TRUE : FALSE;
    jpeg_set_quality(&info, 100, TRUE);
    info.comp_info[0].h_samp_factor = 1;
    info.comp_info[0].v_samp_factor = 1;
    if (IsProgressive) {
        jpeg_simple_progression(&info);
    }
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height) {
        std::vector<std::uint8_t> row;
        for (int i = 0; i < SampleWidth * info.input_components; ++i) {
            const int x = i / info.input_components;
            const int channel = i % info.input_components;
            const int ink = IsAdobe ? 255 - Inks[channel] : Inks[channel];
            row.push_back(static_cast<std::uint8_t>(isInks ? ink : GetColour(x, channel)));
        }
        std::uint8_t* start = row.data();
        jpeg_write_scanlines(&info, &start, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    Bytes bytes;
    Append(bytes, data, size);
    std::free(data);  // NOLINT: jpeg_mem_dest allocates with malloc
    return bytes;
}

int ExpectColours(int x, int /*y*/, int channel) {
    return channel == 3 ? 255 : GetColour(x, channel);
}

int ExpectGrey(int x, int /*y*/, int channel) {
    const int weighted = 299 * GetColour(x, 0) + 587 * GetColour(x, 1) + 114 * GetColour(x, 2);
    return channel == 3 ? 255 : weighted / 1000;
}

int ExpectInks(int /*x*/, int /*y*/, int channel) {
    return channel == 3 ? 255 : (255 - Inks[channel]) * (255 - Inks[3]) / 255;
}

}  // namespace

const std::vector<SampleFile>& GetSampleFiles() {
    static const std::vector<SampleFile> Files{
        DescribePng<PNG_COLOR_TYPE_GRAY, 1>("GreyOfOneBit"),
        DescribePng<PNG_COLOR_TYPE_GRAY, 8>("Grey"),
        DescribePng<PNG_COLOR_TYPE_GRAY, 16, true, true>("GreyOf16BitsOneTransparentInterlaced"),
        DescribePng<PNG_COLOR_TYPE_GRAY_ALPHA, 8>("GreyAndAlpha"),
        DescribePng<PNG_COLOR_TYPE_PALETTE, 4>("Palette"),
        DescribePng<PNG_COLOR_TYPE_PALETTE, 2, true, true>("PaletteWithAlphaInterlaced"),
        DescribePng<PNG_COLOR_TYPE_RGB, 8, false, true>("ColoursOneTransparent"),
        DescribePng<PNG_COLOR_TYPE_RGB, 16>("ColoursOf16Bits"),
        DescribePng<PNG_COLOR_TYPE_RGBA, 8, true>("ColoursAndAlphaInterlaced"),
        DescribePng<PNG_COLOR_TYPE_RGBA, 16>("ColoursAndAlphaOf16Bits"),
        {"JpegGrey", MakeJpeg<JCS_GRAYSCALE, false, false>, ExpectGrey, 2, PNG_COLOR_TYPE_GRAY},
        {"JpegColours", MakeJpeg<JCS_YCbCr, false, false>, ExpectColours, 3, PNG_COLOR_TYPE_RGB},
        {"JpegColoursProgressive", MakeJpeg<JCS_YCbCr, true, false>, ExpectColours, 3,
         PNG_COLOR_TYPE_RGB},
        {"JpegColoursUntransformed", MakeJpeg<JCS_RGB, false, true>, ExpectColours, 2,
         PNG_COLOR_TYPE_RGB},
        {"JpegInks", MakeJpeg<JCS_CMYK, false, false>, ExpectInks, 3, PNG_COLOR_TYPE_RGB},
        {"JpegInksInverted", MakeJpeg<JCS_CMYK, false, true>, ExpectInks, 3, PNG_COLOR_TYPE_RGB},
        {"JpegInksTransformed", MakeJpeg<JCS_YCCK, true, true>, ExpectInks, 3, PNG_COLOR_TYPE_RGB},
    };
    return Files;
}

}  // namespace Raster::Testing
