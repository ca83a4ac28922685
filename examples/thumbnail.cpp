// Makes a small PNG of a JPEG, PNG, TIFF or WebP picture: upright, in sRGB, 256 pixels on its long
// side.
// Usage: thumbnail PICTURE RESULT.png

#include "Kernel/AtomicFileOutStream.h"
#include "Kernel/FileStreams.h"
#include "Raster/CodecException.h"
#include "Raster/DynamicFile.h"
#include "Raster/ICCManager.h"
#include "Raster/PNGBase.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <iostream>

namespace {

void MakeThumbnail(const char* picturePath, const char* resultPath) {
    const auto stream = Kernel::FileInStream::Open(picturePath);
    Raster::DynamicFile picture;
    if (!picture.CreateFromStream(*stream, Raster::DynamicFile::Reading::Scaled)) {
        throw Raster::CodecException(picture.GetError().c_str());
    }
    const double width = picture.GetWidth();
    const double height = picture.GetHeight();
    const double scale = 256 / std::max(width, height);
    Raster::DynamicBitmap small(std::max(1, static_cast<int>(std::lround(width * scale))),
                                std::max(1, static_cast<int>(std::lround(height * scale))));
    small.SetProfile(Raster::ICCManager::GetProfileForString("sRGB IEC61966-2.1"));
    // Resamples, converts from the picture's profile to sRGB and to 8-bit RGBA, all on the way, and
    // never has more than a few rows of the picture in memory.
    if (!picture.ReadScaled(small)) {
        throw Raster::CodecException(picture.GetError().c_str());
    }
    const auto file = Kernel::AtomicFileOutStream::Create(resultPath);
    Raster::WritePNG(small, *file);
    file->Commit();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "Usage: thumbnail PICTURE RESULT.png\n";
        return 2;
    }
    try {
        MakeThumbnail(argv[1], argv[2]);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << argv[1] << ": " << error.what() << '\n';
        return 1;
    }
}
