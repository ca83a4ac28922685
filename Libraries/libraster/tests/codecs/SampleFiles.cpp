#include "tests/codecs/SampleFiles.h"

#include <jpeglib.h>
#include <png.h>

#include <algorithm>
#include <cstdio>  // jpeglib.h needs FILE
#include <cstdlib>
#include <cstring>

namespace Raster::Testing {

namespace {

/// Samples of PNG files cover the range of the bit depth.
int MakeSample(int depth, int x, int y, int channel) {
    return (x * 31 + y * 57 + channel * 101) * 48611 % (1 << depth);
}

png_byte GetPaletteEntry(int index, int channel) {
    return static_cast<png_byte>(channel == 3 ? index * 16 : index * 40 + channel * 90);
}

SampleFile MakePNG(const char* name, Format format, int colourType, int depth,
                   bool isInterlaced = false, bool hasTransparency = false) {
    const bool isPalette = colourType == PNG_COLOR_TYPE_PALETTE;
    const int alpha = hasTransparency ? PNG_COLOR_MASK_ALPHA : 0;
    SampleFile file{name, format, (colourType | alpha) & ~PNG_COLOR_MASK_PALETTE};
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    const auto append = [](png_structp self, png_bytep data, std::size_t size) {
        static_cast<std::string*>(png_get_io_ptr(self))->append(data, data + size);
    };
    png_set_write_fn(png, &file.bytes, append, nullptr);
    png_set_IHDR(png, info, SampleWidth, SampleHeight, depth, colourType,
                 isInterlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_color palette[16];
    png_byte alphas[16];
    for (int i = 0; i < 16; ++i) {
        palette[i] = {GetPaletteEntry(i, 0), GetPaletteEntry(i, 1), GetPaletteEntry(i, 2)};
        alphas[i] = GetPaletteEntry(i, 3);
    }
    if (isPalette) {
        png_set_PLTE(png, info, palette, 1 << depth);
        png_set_tRNS(png, info, alphas, hasTransparency ? 1 << depth : 0, nullptr);
    }
    png_write_info(png, info);
    png_set_packing(png);  // samples below 8 bits are given one a byte
    const int channels = png_get_channels(png, info);
    const int passes = png_set_interlace_handling(png);
    for (int line = 0; line < passes * SampleHeight; ++line) {
        std::vector<png_byte> row;
        for (int i = 0; i < SampleWidth * channels; ++i) {
            const int value = MakeSample(depth, i / channels, line % SampleHeight, i % channels);
            for (int shift = depth == 16 ? 8 : 0; shift >= 0; shift -= 8) {
                row.push_back(static_cast<png_byte>(value >> shift));
            }
        }
        png_write_row(png, row.data());
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    for (int i = 0; i < SampleHeight * SampleWidth * 4; ++i) {  // as the PNG standard defines
        const int maximum = (1 << depth) - 1;
        const int stored = isPalette ? 0 : channels < 3 ? i % 4 / 3 : i % 4;
        const int sample = MakeSample(depth, i / 4 % SampleWidth, i / 4 / SampleWidth, stored);
        const bool isOpaque = i % 4 == 3 && (file.colourType & PNG_COLOR_MASK_ALPHA) == 0;
        file.expected.push_back(isOpaque    ? 255
                                : isPalette ? GetPaletteEntry(sample, i % 4)
                                            : (sample * 255 + maximum / 2) / maximum);
    }
    return file;
}

enum class Scans { One, Three, Progressive };

constexpr int Inks[] = {30, 120, 200, 60};  // how much of each, 255 at most

/// Even colours in two halves, so that nothing but rounding is lost.
int GetColour(int x, int channel) {
    constexpr int Colours[] = {200, 100, 50};
    return Colours[x < 8 ? channel : 2 - channel];
}

SampleFile MakeJPEG(const char* name, Format format, J_COLOR_SPACE space, Scans scans,
                    bool isAdobe) {
    SampleFile file{name, format,
                    space == JCS_GRAYSCALE ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB};
    file.loss = format == Format::GreyA8 ? 0 : 1;
    jpeg_compress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* data = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &data, &size);
    const bool isInks = format == Format::CMYKA8;
    info.image_width = SampleWidth;
    info.image_height = SampleHeight;
    info.input_components = isInks ? 4 : 3;
    info.in_color_space = isInks ? JCS_CMYK : JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_colorspace(&info, space);
    info.write_Adobe_marker = isAdobe ? TRUE : FALSE;
    jpeg_set_quality(&info, 100, TRUE);
    info.comp_info[0].h_samp_factor = 1;
    info.comp_info[0].v_samp_factor = 1;
    constexpr jpeg_scan_info Three[] = {
        {1, {0}, 0, 63, 0, 0}, {1, {1}, 0, 63, 0, 0}, {1, {2}, 0, 63, 0, 0}};
    info.scan_info = scans == Scans::Three ? Three : nullptr;
    info.num_scans = 3;
    if (scans == Scans::Progressive) {
        jpeg_simple_progression(&info);
    }
    jpeg_start_compress(&info, TRUE);
    std::vector<JSAMPLE> row;
    for (int i = 0; i < SampleWidth * info.input_components; ++i) {
        const int channel = i % info.input_components;
        const int ink = isAdobe ? 255 - Inks[channel] : Inks[channel];
        row.push_back(static_cast<JSAMPLE>(isInks ? ink : GetColour(i / 3, channel)));
    }
    for (JSAMPLE* start = row.data(); info.next_scanline < info.image_height;) {
        jpeg_write_scanlines(&info, &start, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    file.bytes.assign(data, data + size);
    std::free(data);  // NOLINT: jpeg_mem_dest allocates with malloc
    for (int i = 0; i < SampleHeight * SampleWidth * 4; ++i) {
        const int x = i / 4 % SampleWidth;
        const int grey = 299 * GetColour(x, 0) + 587 * GetColour(x, 1) + 114 * GetColour(x, 2);
        file.expected.push_back(i % 4 == 3 ? 255
                                : isInks   ? (255 - Inks[i % 4]) * (255 - Inks[3]) / 255
                                : format == Format::GreyA8 ? grey / 1000
                                                           : GetColour(x, i % 4));
    }
    return file;
}

std::vector<SampleFile> MakeSampleFiles() {
    using enum Format;
    std::vector<SampleFile> files{
        MakePNG("GreyOfOneBit", GreyA8, PNG_COLOR_TYPE_GRAY, 1),
        MakePNG("Grey", GreyA8, PNG_COLOR_TYPE_GRAY, 8),
        MakePNG("GreyOf16Bits", GreyA16, PNG_COLOR_TYPE_GRAY, 16, true),
        MakePNG("GreyAndAlpha", GreyA8, PNG_COLOR_TYPE_GRAY_ALPHA, 8),
        MakePNG("Palette", RGBA8, PNG_COLOR_TYPE_PALETTE, 4),
        MakePNG("PaletteWithAlpha", RGBA8, PNG_COLOR_TYPE_PALETTE, 2, true, true),
        MakePNG("ColoursOf16Bits", RGBA16, PNG_COLOR_TYPE_RGB, 16),
        MakePNG("ColoursAndAlpha", RGBA8, PNG_COLOR_TYPE_RGBA, 8, true),
        MakePNG("ColoursAndAlphaOf16Bits", RGBA16, PNG_COLOR_TYPE_RGBA, 16),
        MakeJPEG("JPEGGrey", GreyA8, JCS_GRAYSCALE, Scans::One, false),
        MakeJPEG("JPEGColours", RGBA8, JCS_YCbCr, Scans::One, false),
        MakeJPEG("JPEGOfThreeScans", RGBA8, JCS_YCbCr, Scans::Three, false),
        MakeJPEG("JPEGProgressive", RGBA8, JCS_YCbCr, Scans::Progressive, false),
        MakeJPEG("JPEGUntransformed", RGBA8, JCS_RGB, Scans::One, true),
        MakeJPEG("JPEGInks", CMYKA8, JCS_CMYK, Scans::One, false),
        MakeJPEG("JPEGInksInverted", CMYKA8, JCS_CMYK, Scans::One, true),
        MakeJPEG("JPEGInksTransformed", CMYKA8, JCS_YCCK, Scans::Progressive, true),
    };
    AppendTIFFs(files);
    AppendWebPs(files);
    return files;
}

}  // namespace

int FindColourType(const std::vector<int>& rgba) {
    int type = PNG_COLOR_TYPE_GRAY;
    for (std::size_t i = 0; i < rgba.size(); i += 4) {
        type |= rgba[i] != rgba[i + 1] || rgba[i] != rgba[i + 2] ? PNG_COLOR_MASK_COLOR : 0;
        type |= rgba[i + 3] != 255 ? PNG_COLOR_MASK_ALPHA : 0;
    }
    return type;
}

const std::vector<SampleFile>& GetSampleFiles() {
    static const std::vector<SampleFile> Files = MakeSampleFiles();
    return Files;
}

const std::string& GetSample(std::string_view name) {
    return std::ranges::find(GetSampleFiles(), name, &SampleFile::name)->bytes;
}

std::vector<std::byte> ReadSamplesByLibpng(std::span<const std::byte> file) {
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_read_fn(png, &file, [](png_structp self, png_bytep target, std::size_t size) {
        auto& rest = *static_cast<std::span<const std::byte>*>(png_get_io_ptr(self));
        if (size > rest.size()) {
            png_error(self, "it ends too early");  // which ends the program
        }
        std::memcpy(target, rest.data(), size);
        rest = rest.subspan(size);
    });
    png_read_png(png, info, PNG_TRANSFORM_SWAP_ENDIAN, nullptr);
    std::vector<std::byte> samples;
    for (png_uint_32 y = 0; y < png_get_image_height(png, info); ++y) {
        const auto* row = reinterpret_cast<const std::byte*>(png_get_rows(png, info)[y]);
        samples.insert(samples.end(), row, row + png_get_rowbytes(png, info));
    }
    png_destroy_read_struct(&png, &info, nullptr);
    return samples;
}

}  // namespace Raster::Testing
