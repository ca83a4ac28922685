#include "codecs/QuickDeflate.h"
#include "codecs/ZlibOutput.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>

namespace Raster::Testing {
namespace {

/// Like those of a filtered picture: many small differences, here and there a stretch of zeros.
std::vector<std::byte> MakeBytes(std::size_t size) {
    std::vector<std::byte> bytes(size);
    unsigned seed = 1;
    for (std::size_t i = 0; i < size; ++i) {
        seed = seed * 1'664'525 + 1'013'904'223;
        const unsigned difference = (seed >> 29) + (seed >> 26) % 8 - 7;
        bytes[i] = static_cast<std::byte>(i % 5000 < 1000 ? 0 : difference);
    }
    return bytes;
}

TEST(ZlibOutput, IsInflatedByZlibAndNoLargerThanItsOwn) {
    constexpr std::size_t Piece = 262'144;
    for (const int level : {1, 2, 3}) {
        for (const std::size_t size : {std::size_t{1}, Piece - 1, Piece, Piece + 1, 9 * Piece}) {
            const std::vector<std::byte> bytes = MakeBytes(size);
            std::vector<std::byte> output;
            const auto stream = ZlibOutput::Create(level, size / 2, [&](auto part) {
                output.insert(output.end(), part.begin(), part.end());
            });
            if (!stream) {
                GTEST_SKIP() << "this build has no quick coder";
            }
            for (std::size_t done = 0; done < size; done += 5001) {
                stream->Write(
                    std::span(bytes).subspan(done, std::min<std::size_t>(5001, size - done)));
            }
            stream->Finish();
            std::vector<std::byte> inflated(size + 1);
            auto count = static_cast<uLongf>(inflated.size());
            ASSERT_EQ(uncompress(reinterpret_cast<Bytef*>(inflated.data()), &count,
                                 reinterpret_cast<const Bytef*>(output.data()),
                                 static_cast<uLong>(output.size())),
                      Z_OK);
            inflated.resize(count);
            EXPECT_TRUE(inflated == bytes) << level << " " << size;
            const auto length = static_cast<uLong>(size);
            count = compressBound(length);
            std::vector<Bytef> own(count);
            compress2(own.data(), &count, reinterpret_cast<const Bytef*>(bytes.data()), length,
                      level);
            EXPECT_LE(output.size(), count + 8) << level << " " << size;
        }
    }
}

TEST(QuickDeflater, MakesTheSameBytesWhateverItMadeBefore) {
    const auto deflater = MakeQuickDeflater(1);
    if (!deflater) {
        GTEST_SKIP() << "this build has no quick coder";
    }
    const std::vector<std::byte> bytes = MakeBytes(262'144);
    for (std::size_t i = 0; i < 400; ++i) {
        const auto piece = std::span(bytes).subspan(500 * i, 20'000 + 97 * i);
        std::vector<std::byte> fresh;
        std::vector<std::byte> used(4096 + 41 * i);
        deflater->Compress(piece, false, fresh);
        deflater->Compress(piece, false, used);
        ASSERT_TRUE(fresh == used) << i;
    }
}

}  // namespace
}  // namespace Raster::Testing
