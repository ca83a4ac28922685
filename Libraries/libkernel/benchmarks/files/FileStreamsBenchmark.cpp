#include "Kernel/FileStreams.h"
#include "Kernel/FileSystem.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <fstream>
#include <vector>

namespace Kernel {
namespace {

constexpr std::size_t FileSize = 3'000'000;

/// Reads a file in pieces of 13 bytes, as a parser does; `open` makes what calls `read`.
template <class Open, class Read>
void ReadSmallPieces(benchmark::State& state, Open open, Read read) {
    const String path = FileSystem::GetUniqueTemporaryFilename("%1");
    FileOutStream::Create(path)->Write(std::vector<std::byte>(FileSize));
    std::array<std::byte, 13> piece{};
    for (auto _ : state) {
        auto file = open(path);
        while (read(file, piece)) {
            benchmark::DoNotOptimize(piece);
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(FileSize));
    FileSystem::Delete(path);
}

constexpr auto ReadStream = [](auto& file, auto& piece) { return file->Read(piece) != 0; };

void ReadFast(benchmark::State& state) {
    const auto open = [](const String& path) { return FastFileInStream::Open(path, 8191); };
    ReadSmallPieces(state, open, ReadStream);
}
BENCHMARK(ReadFast);

void ReadPlain(benchmark::State& state) {
    ReadSmallPieces(state, FileInStream::Open, ReadStream);
}
BENCHMARK(ReadPlain);

void ReadIfstream(benchmark::State& state) {
    const auto open = [](const String& path) { return std::ifstream(path.c_str()); };
    ReadSmallPieces(state, open, [](std::ifstream& file, auto& piece) {
        return static_cast<bool>(file.read(reinterpret_cast<char*>(piece.data()), piece.size()));
    });
}
BENCHMARK(ReadIfstream);

}  // namespace
}  // namespace Kernel
