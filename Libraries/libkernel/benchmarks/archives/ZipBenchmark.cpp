#include "Kernel/FileStreams.h"
#include "Kernel/FileSystem.h"
#include "Kernel/ZipArchive.h"

#include <benchmark/benchmark.h>
#include <zip.h>

#include <cstdint>
#include <vector>

namespace Kernel {
namespace {

constexpr std::size_t Size = 64 << 20;

/// Bytes that deflate halves roughly, as it does the weights of a network.
std::vector<std::byte> MakeBytes() {
    std::vector<std::byte> bytes(Size);
    std::uint32_t random = 1;
    for (std::byte& byte : bytes) {
        random = random * 1'664'525 + 1'013'904'223;
        byte = static_cast<std::byte>(random >> 28);
    }
    return bytes;
}

/// Runs `read` on the path of an archive whose only entry is `Size` bytes.
template <class Read>
void ReadEntry(benchmark::State& state, zip_int32_t method, Read read) {
    const String path = FileSystem::GetUniqueTemporaryFilename("%1.zip");
    FileSystem::Delete(path);
    const auto bytes = MakeBytes();
    zip_t* const archive = zip_open(path.c_str(), ZIP_CREATE, nullptr);
    zip_file_add(archive, "entry", zip_source_buffer(archive, bytes.data(), Size, 0), 0);
    zip_set_file_compression(archive, 0, method, 0);
    zip_close(archive);
    for (auto _ : state) {
        if (read(path) != Size) {
            state.SkipWithError("not all was read");
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(Size));
    FileSystem::Delete(path);
}

constexpr std::size_t BufferSize = 262'144;

std::size_t ReadOurs(const String& path) {
    const ZipArchive archive(FileInStream::Open(path));
    const auto stream = archive.Open("entry");
    std::vector<std::byte> buffer(BufferSize);
    std::size_t size = 0;
    while (const std::size_t count = stream->Read(buffer)) {
        size += count;
    }
    return size;
}

std::size_t ReadLibzip(const String& path) {
    zip_t* const archive = zip_open(path.c_str(), ZIP_RDONLY, nullptr);
    zip_file_t* const file = zip_fopen(archive, "entry", 0);
    std::vector<std::byte> buffer(BufferSize);
    std::size_t size = 0;
    for (zip_int64_t count = 0; (count = zip_fread(file, buffer.data(), BufferSize)) > 0;) {
        size += static_cast<std::size_t>(count);
    }
    zip_fclose(file);
    zip_discard(archive);
    return size;
}

BENCHMARK_CAPTURE(ReadEntry, StoredOurs, ZIP_CM_STORE, ReadOurs);
BENCHMARK_CAPTURE(ReadEntry, StoredLibzip, ZIP_CM_STORE, ReadLibzip);
BENCHMARK_CAPTURE(ReadEntry, DeflatedOurs, ZIP_CM_DEFLATE, ReadOurs);
BENCHMARK_CAPTURE(ReadEntry, DeflatedLibzip, ZIP_CM_DEFLATE, ReadLibzip);

}  // namespace
}  // namespace Kernel
