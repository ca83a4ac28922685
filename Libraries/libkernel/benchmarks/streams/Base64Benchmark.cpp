#include "Kernel/Base64OutStream.h"

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace Kernel {
namespace {

constexpr std::size_t Size = 20'000'003;  // an image on its way into a request

class NullStream : public OutStream {
public:
    void Write(std::span<const std::byte> bytes) override {
        benchmark::DoNotOptimize(bytes.data());
    }
};

std::vector<std::byte> MakeBytes() {
    std::vector<std::byte> bytes(Size);
    for (std::size_t i = 0; i < Size; ++i) {
        bytes[i] = static_cast<std::byte>(i * i >> 3);
    }
    return bytes;
}

void EncodeBase64(benchmark::State& state) {
    const auto bytes = MakeBytes();
    const auto pieceSize = static_cast<std::size_t>(state.range(0));
    Base64OutStream stream(MakeCounted<NullStream>());
    for (auto _ : state) {
        for (std::span<const std::byte> rest = bytes; !rest.empty();) {
            const auto piece = rest.first(std::min(pieceSize, rest.size()));
            stream.Write(piece);
            rest = rest.subspan(piece.size());
        }
        stream.FlushBase64();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(Size));
}
BENCHMARK(EncodeBase64)->Arg(10)->Arg(1000)->Arg(100'000)->Arg(Size);

/// As above, in pieces that fit the cache too.
void EncodeBase64OpenSSL(benchmark::State& state) {
    const auto bytes = MakeBytes();
    const auto* const first = reinterpret_cast<const unsigned char*>(bytes.data());
    constexpr std::size_t PieceSize = 12'288;
    std::vector<unsigned char> text(PieceSize / 3 * 4 + 1);
    for (auto _ : state) {
        for (std::size_t i = 0; i < Size; i += PieceSize) {
            const auto count = static_cast<int>(std::min(PieceSize, Size - i));
            EVP_EncodeBlock(text.data(), first + i, count);
            benchmark::DoNotOptimize(text.data());
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(Size));
}
BENCHMARK(EncodeBase64OpenSSL);

}  // namespace
}  // namespace Kernel
