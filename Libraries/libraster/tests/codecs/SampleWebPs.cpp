#include "tests/codecs/SampleFiles.h"

#include <webp/decode.h>
#include <webp/encode.h>

namespace Raster::Testing {

namespace {

std::string MakeSize(std::size_t size, int count) {
    std::string bytes;
    for (int i = 0; i < count; ++i) {
        bytes += static_cast<char>(size >> (8 * i) & 0xFF);
    }
    return bytes;
}

SampleFile Encode(const char* name, bool isLossless, bool hasAlpha) {
    std::vector<std::uint8_t> pixels;
    for (int i = 0; i < SampleWidth * SampleHeight * 4; ++i) {
        const int sample =
            (i / 4 % SampleWidth * 31 + i / 4 / SampleWidth * 57 + i % 4 * 101) % 256;
        pixels.push_back(static_cast<std::uint8_t>(i % 4 == 3 && !hasAlpha ? 255 : sample));
    }
    WebPConfig config;
    WebPConfigInit(&config);
    config.lossless = isLossless ? 1 : 0;
    config.exact = 1;  // colours under alpha 0 too
    WebPPicture picture;
    WebPPictureInit(&picture);
    picture.use_argb = config.lossless;
    picture.width = SampleWidth;
    picture.height = SampleHeight;
    WebPPictureImportRGBA(&picture, pixels.data(), SampleWidth * 4);
    WebPMemoryWriter writer;
    WebPMemoryWriterInit(&writer);
    picture.writer = WebPMemoryWrite;
    picture.custom_ptr = &writer;
    WebPEncode(&config, &picture);
    SampleFile file{name, Format::RGBA8, 0, std::string(writer.mem, writer.mem + writer.size)};
    WebPMemoryWriterClear(&writer);
    WebPPictureFree(&picture);
    if (!isLossless) {
        WebPDecodeRGBAInto(reinterpret_cast<const std::uint8_t*>(file.bytes.data()),
                           file.bytes.size(), pixels.data(), pixels.size(), SampleWidth * 4);
    }
    file.expected.assign(pixels.begin(), pixels.end());
    file.colourType = FindColourType(file.expected);
    return file;
}

}  // namespace

std::string MakeWebPChunk(const std::string& name, const std::string& data) {
    return name + MakeSize(data.size(), 4) + data + std::string(data.size() % 2, '\0');
}

std::string MakeWebP(const std::string& chunks) {
    return "RIFF" + MakeSize(chunks.size() + 4, 4) + "WEBP" + chunks;
}

std::string ExtendWebP(const std::string& file, const std::string& before, const std::string& after,
                       char flags) {
    const bool isExtended = file.substr(12, 4) == "VP8X";
    const char all = static_cast<char>(flags | (isExtended ? file[20] : 0));
    const std::string head =
        MakeWebPChunk("VP8X", std::string({all, 0, 0, 0}) + MakeSize(SampleWidth - 1, 3) +
                                  MakeSize(SampleHeight - 1, 3));
    return MakeWebP(head + before + file.substr(isExtended ? 30 : 12) + after);
}

void AppendWebPs(std::vector<SampleFile>& files) {
    files.push_back(Encode("WebPLossless", true, false));
    files.push_back(Encode("WebPLosslessWithAlpha", true, true));
    files.push_back(Encode("WebPLossy", false, false));
    files.push_back(Encode("WebPLossyWithAlpha", false, true));
}

}  // namespace Raster::Testing
