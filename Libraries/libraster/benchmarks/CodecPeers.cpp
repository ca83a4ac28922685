#include "PixelRows.h"

#include <png.h>
#include <turbojpeg.h>

#include <cstring>

// JPEG and PNG by the libraries alone. A row that writes leaves the size of its file at the start
// of its destination, eight bytes, and the file behind it.

namespace PixelPeers {

namespace {

void WriteJPEG(const Task& task) {
    static const tjhandle Compressor = tjInitCompress();
    auto* file = task.destination.As<unsigned char>() + 8;
    unsigned long size = task.destination.GetSize() - 8;
    tjCompress2(Compressor, task.source.As<unsigned char>(), task.size.width, 0, task.size.height,
                TJPF_RGBX, &file, &size, TJSAMP_420, 70, TJFLAG_NOREALLOC);
    *task.destination.As<std::uint64_t>() = size;
}

void ReadJPEG(const Task& task) {
    static const tjhandle Decompressor = tjInitDecompress();
    tjDecompress2(Decompressor, task.source.As<unsigned char>(), task.source.GetSize(),
                  task.destination.As<unsigned char>(), task.size.width, 0, task.size.height,
                  TJPF_RGBA, 0);
}

void Append(png_structp png, png_bytep bytes, std::size_t count) {
    auto* const destination = static_cast<const Bytes*>(png_get_io_ptr(png));
    std::uint64_t& size = *destination->As<std::uint64_t>();
    std::memcpy(destination->As<png_byte>() + 8 + size, bytes, count);
    size += count;
}

/// The fastest of the library's settings that still compresses.
void WritePNG(const Task& task) {
    *task.destination.As<std::uint64_t>() = 0;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(png, const_cast<Bytes*>(&task.destination), Append, nullptr);
    png_set_IHDR(png, info, static_cast<png_uint_32>(task.size.width),
                 static_cast<png_uint_32>(task.size.height), 8, PNG_COLOR_TYPE_RGBA,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_compression_level(png, 1);
    png_set_filter(png, 0, PNG_FILTER_UP);
    png_write_info(png, info);
    for (std::size_t y = 0; y < static_cast<std::size_t>(task.size.height); ++y) {
        png_write_row(
            png, task.source.As<png_byte>() + y * static_cast<std::size_t>(task.size.width) * 4);
    }
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
}

void ReadPNG(const Task& task) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    png_image_begin_read_from_memory(&image, task.source.As<png_byte>(), task.source.GetSize());
    image.format = PNG_FORMAT_RGBA;
    png_image_finish_read(&image, nullptr, task.destination.As<png_byte>(), 0, nullptr);
}

}  // namespace

std::vector<Peer> GetCodecPeers() {
    return {{"libjpeg-turbo", "WriteJPEG", InPlace(WriteJPEG)},
            {"libjpeg-turbo", "ReadJPEG", InPlace(ReadJPEG)},
            {"libpng", "WritePNG", InPlace(WritePNG)},
            {"libpng", "ReadPNG", InPlace(ReadPNG)}};
}

}  // namespace PixelPeers
