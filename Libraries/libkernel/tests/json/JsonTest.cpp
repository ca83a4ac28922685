#include "Kernel/Json.h"
#include "Kernel/Utf.h"

#include "tests/StreamTexts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

namespace Kernel {
namespace {

using Json::Parse;
using Json::Value;

/// Delivers a text in pieces of one byte.
class Trickle : public InStream {
public:
    explicit Trickle(std::string_view text) : m_text(text) {}

    std::size_t Read(std::span<std::byte> buffer) override {
        if (m_text.empty() || buffer.empty()) {
            return 0;
        }
        buffer[0] = static_cast<std::byte>(m_text.front());
        m_text.remove_prefix(1);
        return 1;
    }

private:
    std::string_view m_text;
};

/// What ToString() makes of a document that is read as a text and as a stream, "-" if it is
/// refused.
std::string ReadTwice(std::string_view text) {
    const std::optional<Value> value = Parse(text);
    Trickle trickle(text);
    EXPECT_EQ(value, Parse(trickle)) << text;
    return value ? std::string(Json::ToString(*value)) : "-";
}

TEST(Json, ReadsDocumentsAndRefusesAllElse) {
    const struct {
        std::string_view text;
        std::string_view expected;
    } cases[] = {
        {" {\"b\": [1, -2, {}],\t\"a\" :null}\r\n ", R"({"a":null,"b":[1,-2,{}]})"},
        {R"("\u00e4\ud83d\ude00\/\n\u0000\"\\")", R"("ä😀/\n\u0000\"\\")"},
        {"\xEF\xBB\xBF[true,\"\x7F\"]", "[true,\"\x7F\"]"},
        {R"({"a":{"x":1},"a":{"y":2},"b":1,"b":[]})", R"({"a":{"y":2},"b":[]})"},
        {"[9223372036854775807,-9223372036854775808,18446744073709551615]",
         "[9223372036854775807,-9223372036854775808,18446744073709551615]"},
        {"[1.0,1e2,-0.0,0.1,1e300,5e-324,1e-999,18446744073709551616]",
         "[1.0,100.0,-0.0,0.1,1e+300,5e-324,0.0,1.8446744073709552e+19]"},
        {"", "-"},
        {"\xEF\xBB\xBF", "-"},
        {"[1,]", "-"},
        {"{\"a\"", "-"},
        {"[] []", "-"},
        {std::string_view("[]\0", 3), "-"},
        {std::string_view("[]\0{}", 5), "-"},
        {"[1e999]", "-"},
        {"-1e999", "-"},
        {"[\"\xFF\"]", "-"},
        {"[\"\n\"]", "-"},
        {"[\"\\ud83d\"]", "-"},
        {"// no\n[]", "-"},
        {"NaN", "-"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(ReadTwice(text), expected) << text;
    }
}

TEST(Json, RefusesDocumentsBelowTheirDepth) {
    const auto nest = [](std::size_t levels) {
        std::string text = "1";
        for (std::size_t level = levels; level > 0; --level) {
            text = level % 2 == 1 ? "[" + text + "]" : "{\"a\":" + text + "}";
        }
        return "[[[]],0," + text + ",0]";  // one level more
    };
    EXPECT_EQ(ReadTwice(nest(511)), nest(511));
    EXPECT_EQ(ReadTwice(nest(512)), "-");
    EXPECT_FALSE(Parse(std::string(10'000'000, '[')));
    EXPECT_TRUE(Parse("1", 0));
    EXPECT_FALSE(Parse("[]", 0));
    EXPECT_TRUE(Parse("[[],[1]]", 2));

    const Value deep = *Parse(nest(511));
    Value copy = deep;
    EXPECT_EQ(copy, deep);
    copy = nullptr;
    EXPECT_TRUE(Parse(std::string(100'000, '[') + std::string(100'000, ']'), 100'000));  // and dies
}

TEST(Json, WritesAnyNumberSoThatItIsReadBack) {
    std::mt19937_64 random(1);
    for (int i = 0; i < 20'000; ++i) {
        const auto bits = random();
        double number = 0;
        std::memcpy(&number, &bits, sizeof number);
        const String text = Json::ToString(number);
        if (!std::isfinite(number)) {
            EXPECT_EQ(text, "null");
            continue;
        }
        EXPECT_NE(std::string_view(text).find_first_of(".e"), std::string_view::npos) << text;
        EXPECT_EQ(Parse(text)->get<double>(), number) << text;
    }
}

TEST(Json, WritesTheSameToStreamsAndReplacesIllFormedText) {
    std::string random = MakeText(100'000);
    const Value value{{"list", {1, true, "\xC3", MakeText(40'000, 128), Value::array()}},
                      {"\"\\\n\x7F\xC3\xA4", {{"~ ", Value::object()}, {"", 0.5}}},
                      {"plain", String(40'000, '~')},
                      {"random", random}};
    MemoryInOutStream stream;
    Json::Write(stream, value);
    const String text = Json::ToString(value);
    EXPECT_EQ(GetText(stream), text);
    EXPECT_EQ(Parse(text)->at("random").get<String>(), ReplaceInvalidUtf8(random));
    EXPECT_EQ(Parse(text)->at("list")[2].get<String>(), "\uFFFD");
}

TEST(Json, WritesStreamsWithoutACopyOfTheText) {
    struct Measure : OutStream {
        void Write(std::span<const std::byte> bytes) override {
            largest = std::max(largest, bytes.size());
            size += bytes.size();
        }
        std::size_t largest = 0;
        std::size_t size = 0;
    } measure;
    Json::Write(measure, Value{{"image", String(20 << 20, 'A')}});
    EXPECT_EQ(measure.size, (20U << 20) + std::string_view(R"({"image":""})").size());
    EXPECT_LE(measure.largest, 64U << 10);
}

TEST(Json, PassesOnWhatAStreamThrows) {
    struct Broken : InStream {
        std::size_t Read(std::span<std::byte> /*buffer*/) override { throw IoException("broken"); }
    } broken;
    EXPECT_THROW(Parse(broken), IoException);
}

TEST(Json, HasValuesThatTakeStringsAndCheckTypes) {
    Value value = *Parse(R"({"name": "ä", "list": [1]})");
    EXPECT_EQ(value["name"].get<String>(), "ä");
    EXPECT_EQ(value.value("absent", String("other")), "other");
    value[String("key")] = String("text");
    EXPECT_TRUE(value["absent"].is_null());
    EXPECT_EQ(Value::from_cbor(Value::to_cbor(value)), value);
    EXPECT_THROW(value["list"]["key"], nlohmann::detail::type_error);
    EXPECT_THROW(value.at("name").get<int>(), nlohmann::json::type_error);
}

}  // namespace
}  // namespace Kernel
