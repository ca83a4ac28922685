#include "Kernel/Base64OutStream.h"
#include "Kernel/MemoryInOutStream.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <utility>

namespace Kernel {
namespace {

/// What Base64OutStream has handed on, and how often that was flushed.
class Target : public MemoryInOutStream {
public:
    void Flush() override { ++flushes; }
    std::string GetText() const {
        return {reinterpret_cast<const char*>(GetBytes().data()), GetBytes().size()};
    }

    int flushes = 0;
};

void Write(OutStream& stream, std::string_view bytes) {
    stream.Write(std::as_bytes(std::span(bytes)));
}

std::string Encode(std::string_view bytes) {
    const auto target = MakeCounted<Target>();
    Base64OutStream stream(target);
    Write(stream, bytes);
    stream.FlushBase64();
    return target->GetText();
}

TEST(Base64OutStream, EncodesAsTheStandardDoes) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"", ""},
        {"f", "Zg=="},
        {"fo", "Zm8="},
        {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="},
        {"fooba", "Zm9vYmE="},
        {"foobar", "Zm9vYmFy"},
        {"\xFB\xEF\xBE\xFF\xFF\xFF\xF0", "++++////8A=="}};
    for (const auto& [bytes, text] : cases) {
        EXPECT_EQ(Encode(bytes), text);
    }
}

TEST(Base64OutStream, GivesTheSameTextHoweverTheBytesAreCut) {
    std::mt19937 random(1);
    std::string bytes(300'000, '\0');  // many times what is handed on at once
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    std::string expected(400'001, '\0');  // the text and a closing zero
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(expected.data()),
                    reinterpret_cast<const unsigned char*>(bytes.data()), 300'000);
    expected.pop_back();
    EXPECT_TRUE(Encode(bytes) == expected);
    for (const std::size_t longest : {1, 2, 7, 50, 13'000, 100'000}) {
        const auto target = MakeCounted<Target>();
        Base64OutStream stream(target);
        for (std::string_view rest = bytes; !rest.empty();) {
            const std::size_t count = std::min<std::size_t>(random() % (longest + 1), rest.size());
            Write(stream, rest.substr(0, count));
            rest.remove_prefix(count);
            ASSERT_LE((bytes.size() - rest.size()) / 3 * 4 - target->GetSize(), 16'384U);
        }
        stream.FlushBase64();
        EXPECT_TRUE(target->GetText() == expected) << longest;
    }
}

TEST(Base64OutStream, HandsOnWholeGroupsAndBeginsAnewAfterThePadding) {
    const auto target = MakeCounted<Target>();
    Base64OutStream stream(target);
    Write(stream, "foob");
    stream.Flush();
    EXPECT_EQ(target->GetText(), "Zm9v");
    EXPECT_EQ(target->flushes, 1);
    Write(stream, "a");
    stream.FlushBase64();
    stream.FlushBase64();
    EXPECT_EQ(target->GetText(), "Zm9vYmE=");
    Write(stream, "foo");
    stream.FlushBase64();
    EXPECT_EQ(target->GetText(), "Zm9vYmE=Zm9v");
}

}  // namespace
}  // namespace Kernel
