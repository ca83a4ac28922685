#include "Kernel/Base64.h"
#include "Kernel/Base64OutStream.h"

#include "tests/StreamTexts.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <utility>

namespace Kernel {
namespace {

std::string EncodeWithOpenSSL(std::string_view bytes) {
    std::string text(bytes.size() / 3 * 4 + 5, '\0');  // room for the padding and a closing zero
    const int size = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                                     reinterpret_cast<const unsigned char*>(bytes.data()),
                                     static_cast<int>(bytes.size()));
    return text.substr(0, static_cast<std::size_t>(size));
}

TEST(Base64OutStream, GivesTheSameTextHoweverTheBytesAreCut) {
    const std::string all = MakeText(300'000);  // many times what is handed on at once
    std::mt19937 random(1);
    const std::pair<std::size_t, std::size_t> cases[] = {
        {0, 1}, {1, 1}, {2, 2}, {299'998, 7}, {299'999, 50}, {300'000, 13'000}, {300'000, 900'000}};
    for (const auto& [size, longest] : cases) {
        const auto target = MakeCounted<MemoryInOutStream>();
        Base64OutStream stream(target);
        for (std::size_t done = 0; done < size;) {
            const std::size_t count = std::min(random() % (longest + 1), size - done);
            Write(stream, std::string_view(all).substr(done, count));
            done += count;
            ASSERT_LE(done / 3 * 4 - target->GetSize(), 16'384U);
        }
        stream.FlushBase64();
        const std::string text = GetText(*target);
        EXPECT_TRUE(text == EncodeWithOpenSSL(all.substr(0, size))) << size;
        EXPECT_TRUE(DecodeBase64(text) == all.substr(0, size)) << size;
        EXPECT_EQ(text.empty() || DecodeBase64(text.substr(1)), text.empty()) << size;
    }
}

class CountingStream : public MemoryInOutStream {
public:
    void Flush() override { ++flushes; }
    int flushes = 0;
};

TEST(Base64OutStream, HandsOnWholeGroupsAndBeginsAnewAfterThePadding) {
    const auto target = MakeCounted<CountingStream>();
    Base64OutStream stream(target);
    Write(stream, "foob");
    stream.Flush();
    EXPECT_EQ(GetText(*target), "Zm9v");
    EXPECT_EQ(target->flushes, 1);
    Write(stream, "a");
    stream.FlushBase64();
    stream.FlushBase64();
    EXPECT_EQ(GetText(*target), "Zm9vYmE=");
    Write(stream, "foo");
    stream.FlushBase64();
    EXPECT_EQ(GetText(*target), "Zm9vYmE=Zm9v");
}

TEST(DecodeBase64, TakesNothingButTheOneTextForItsBytes) {
    for (const char* const wrong : {"QQ", "QQ=", "Q===", "====", "QR==", "QUF=", "QUI", "QU I",
                                    "QUJ\n", "=QUI", "QQ==QQ==", "QU-_", "\xFFQQ="}) {
        EXPECT_EQ(DecodeBase64(wrong), std::nullopt) << wrong;
    }
}

}  // namespace
}  // namespace Kernel
