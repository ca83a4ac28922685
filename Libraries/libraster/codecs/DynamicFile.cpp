#include "Raster/DynamicFile.h"

#include "Raster/CodecException.h"

#include "codecs/Jpeg.h"
#include "codecs/Png.h"

namespace Raster {

CodecException::~CodecException() = default;

Picture ReadPicture(Kernel::InStream& stream) {
    BufferedSource source(stream);
    const std::span<const std::byte> start = source.PeekStart(8);
    if (IsPng(start)) {
        return ReadPng(source);
    }
    if (IsJpeg(start)) {
        return ReadJpeg(source);
    }
    throw CodecException("the data is neither a PNG nor a JPEG picture");
}

}  // namespace Raster
