// Our library in the rows that read and write files.

#include "Kernel/MemoryInOutStream.h"
#include "Raster/DynamicFile.h"
#include "Raster/JPEG.h"
#include "Raster/PNGBase.h"

#include "BitmapTransfer.h"

namespace PixelPeers {
namespace {

using Raster::DynamicBitmap;
using Raster::Format;

void WriteJPEG(const DynamicBitmap& bitmap, Kernel::OutStream& stream) {
    Raster::ExportOptions options;
    options.SetQuality(70);
    Raster::JPEGWriter writer(stream, bitmap.GetWidth(), bitmap.GetHeight(),
                              bitmap.GetPixelFormat(), options);
    writer.WritePixels(bitmap.GetHostView());
    writer.Finish();
}

void WritePNG(const DynamicBitmap& bitmap, Kernel::OutStream& stream) {
    Raster::PNGBase writer(stream, bitmap.GetWidth(), bitmap.GetHeight(), bitmap.GetPixelFormat());
    writer.WritePixels(bitmap.GetHostView());
    writer.Finish();
}

using Write = void (*)(const DynamicBitmap&, Kernel::OutStream&);

Bytes MakeFile(Bytes (*makePicture)(Size), Write write, Size size) {
    Kernel::MemoryInOutStream stream;
    write(*LoadBitmap(makePicture(size), size, Format::RGBA8), stream);
    Bytes file(stream.GetBytes().size());
    std::memcpy(file.As<std::byte>(), stream.GetBytes().data(), file.GetSize());
    return file;
}

/// How far the pixels of a file are from those it was made of.
double CompareFile(const Task& task) {
    const std::uint64_t size = *task.destination.As<std::uint64_t>();
    const std::byte* const start = task.destination.As<std::byte>() + sizeof size;
    Kernel::MemoryInOutStream stream({start, start + size});
    const Bytes pixels(task.source.GetSize());
    StoreBitmap(*Raster::ReadPicture(stream, Format::RGBA8), pixels);
    return GetMaximumDifference(pixels.As<std::uint8_t>(), task.source.As<std::uint8_t>(),
                                pixels.GetSize());
}

/// A row that leaves the size of its file at the start of its destination, and the file behind it.
bool AddWriting(const char* row, Bytes (*makePicture)(Size), Write write, double tolerance) {
    return AddRow({row, {ReducedPhoto}, makePicture, 4, CompareFile, tolerance},
                  [=](const Task& task) {
                      const auto bitmap = LoadBitmap(task.source, task.size, Format::RGBA8);
                      const auto stream = std::make_shared<Kernel::MemoryInOutStream>();
                      const auto work = [=] {
                          *stream = {};
                          write(*bitmap, *stream);
                      };
                      return Run{work, [=, &task] {
                                     const std::uint64_t size = stream->GetBytes().size();
                                     *task.destination.As<std::uint64_t>() = size;
                                     std::memcpy(task.destination.As<std::byte>() + sizeof size,
                                                 stream->GetBytes().data(), size);
                                 }};
                  });
}

bool AddReading(const char* row, Bytes (*makePicture)(Size), Write write, double tolerance) {
    const auto makeSource = [=](Size size) { return MakeFile(makePicture, write, size); };
    const auto getDifference = [=](const Task& task) {
        return GetMaximumDifference(task.destination.As<std::uint8_t>(),
                                    makePicture(task.size).As<std::uint8_t>(),
                                    task.destination.GetSize());
    };
    return AddRow({row, {ReducedPhoto}, makeSource, 4, getDifference, tolerance},
                  [](const Task& task) {
                      const auto bitmap = MakeBitmap(task.size, Format::RGBA8);
                      const std::byte* const start = task.source.As<std::byte>();
                      const auto stream = std::make_shared<Kernel::MemoryInOutStream>(
                          std::vector<std::byte>(start, start + task.source.GetSize()));
                      const auto work = [=] {
                          Raster::DynamicFile file;
                          stream->Seek(0);
                          file.CreateFromStream(*stream);
                          file.ReadPixels(*bitmap);
                      };
                      return Run{work, [=, &task] { StoreBitmap(*bitmap, task.destination); }};
                  });
}

/// A file read row by row into a smaller picture. By Nearest that is next to the decoding alone.
bool AddScaling(const char* row, Raster::Sampler sampler) {
    const auto makeSource = [](Size size) { return MakeFile(MakeCutout, WritePNG, size); };
    return AddRow({row, {Large}, makeSource, 4, {}, 0, Small}, [=](const Task& task) {
        const auto bitmap = MakeBitmap(task.target, Format::RGBA8);
        const std::byte* const start = task.source.As<std::byte>();
        const auto stream = std::make_shared<Kernel::MemoryInOutStream>(
            std::vector<std::byte>(start, start + task.source.GetSize()));
        return Run{[=] {
            Raster::DynamicFile file;
            stream->Seek(0);
            file.CreateFromStream(*stream, Raster::DynamicFile::Reading::Scaled);
            file.ReadScaled(*bitmap, sampler);
        }};
    });
}

// Quality 70 with 4:2:0 chroma subsampling: a hard edge may be off by a quarter of the range.
const bool IsAdded = AddWriting("WriteJPEG", MakePhoto, WriteJPEG, 64) &&
                     AddReading("ReadJPEG", MakePhoto, WriteJPEG, 64) &&
                     AddWriting("WritePNG", MakeCutout, WritePNG, 0) &&
                     AddReading("ReadPNG", MakeCutout, WritePNG, 0) &&
                     AddScaling("ScalePNGByArea", Raster::Sampler::Area) &&
                     AddScaling("ScalePNGByNearest", Raster::Sampler::Nearest);

}  // namespace
}  // namespace PixelPeers
