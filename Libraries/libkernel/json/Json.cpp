#include "Kernel/Json.h"

#include "Kernel/Utf.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <istream>
#include <memory>
#include <span>
#include <streambuf>
#include <utility>
#include <vector>

namespace Kernel::Json {

namespace {

constexpr std::size_t BufferSize = std::size_t{16} << 10;

/// Collects pieces of text, most of which are a few bytes, for a stream.
class TextWriter final : public nlohmann::detail::output_adapter_protocol<char> {
public:
    explicit TextWriter(OutStream& stream) : m_stream(stream) { m_text.reserve(BufferSize); }

    void write_character(char c) override { write_characters(&c, 1); }
    void write_characters(const char* s, std::size_t length) override {
        if (m_text.size() + length > BufferSize) {
            Flush();
        }
        m_text.insert(m_text.end(), s, s + length);
    }

    void Flush() {
        m_stream.Write(std::as_bytes(std::span(m_text)));
        m_text.clear();
    }

private:
    OutStream& m_stream;
    std::vector<char> m_text;
};

/// Reads a stream as the standard library does.
class TextReader final : public std::streambuf {
public:
    explicit TextReader(InStream& stream) : m_stream(stream) {}

protected:
    int_type underflow() override {
        const std::size_t size = m_stream.Read(std::as_writable_bytes(std::span(m_text)));
        char* const begin = m_text.data();
        char* const end = begin + size;
        // The parser takes a zero byte for the end. Other control characters are as wrong anywhere.
        std::replace(begin, end, '\0', '\1');
        setg(begin, begin, end);
        return size == 0 ? traits_type::eof() : traits_type::to_int_type(*begin);
    }

private:
    InStream& m_stream;
    std::array<char, BufferSize> m_text{};
};

/// Makes a value of what the parser finds, until that nests too deeply. (The library's own way, a
/// callback that refuses what is too deep, goes on to read it and takes the rest for the value.)
class Builder final : public nlohmann::json_sax<Value> {
public:
    explicit Builder(int maximumDepth) : m_levelsLeft(maximumDepth) {}

    Value& GetRoot() noexcept { return m_root; }

    bool null() override { return Add(Value()) != nullptr; }
    bool boolean(bool val) override { return Add(Value(val)) != nullptr; }
    bool number_integer(std::int64_t val) override { return Add(Value(val)) != nullptr; }
    bool number_unsigned(std::uint64_t val) override { return Add(Value(val)) != nullptr; }
    bool number_float(double val, const String& /*text*/) override {
        return Add(Value(val)) != nullptr;
    }
    bool string(String& val) override { return Add(Value(std::move(val))) != nullptr; }
    bool binary(Value::binary_t& /*val*/) override { return false; }  // no text has one
    bool start_object(std::size_t /*elements*/) override { return Open(Value::object()); }
    bool key(String& val) override {
        m_member = &(*m_open.back())[std::move(val)];
        return true;
    }
    bool end_object() override { return Close(); }
    bool start_array(std::size_t /*elements*/) override { return Open(Value::array()); }
    bool end_array() override { return Close(); }
    bool parse_error(std::size_t /*position*/, const std::string& /*lastToken*/,
                     const nlohmann::detail::exception& /*ex*/) override {
        return false;
    }

private:
    /// Puts `value` where the parser is, and returns its place.
    Value* Add(Value value) {
        Value* place = m_open.empty() ? &m_root : m_member;
        if (!m_open.empty() && m_open.back()->is_array()) {
            m_open.back()->push_back(nullptr);
            place = &m_open.back()->back();
        }
        *place = std::move(value);
        return place;
    }

    bool Open(Value value) {
        if (m_levelsLeft-- <= 0) {
            return false;
        }
        m_open.push_back(Add(std::move(value)));
        return true;
    }

    bool Close() {
        m_open.pop_back();
        ++m_levelsLeft;
        return true;
    }

    int m_levelsLeft;
    Value m_root;
    std::vector<Value*> m_open;  // arrays and objects whose ends are still to come
    Value* m_member = nullptr;   // of the innermost one, if that is an object
};

/// Not by the library's sax_parse(), which compiles its readers of binary formats too.
template <class Input>
std::optional<Value> ParseInput(Input input, int maximumDepth) {
    Builder builder(maximumDepth);
    std::optional<Value> value;
    if (nlohmann::detail::parser<Value, Input>(std::move(input)).sax_parse(&builder)) {
        value.emplace(std::move(builder.GetRoot()));
    }
    return value;
}

}  // namespace

String ToString(const Value& value) {
    return value.dump(-1, ' ', false, Value::error_handler_t::replace);
}

void Write(OutStream& stream, const Value& value) {
    const auto writer = std::make_shared<TextWriter>(stream);
    nlohmann::detail::serializer<Value> serializer(writer, ' ', Value::error_handler_t::replace);
    serializer.dump(value, false, false, 0);
    writer->Flush();
}

std::optional<Value> Parse(std::string_view text, int maximumDepth) {
    if (HasZeroByte(text)) {  // which the parser takes for the end
        return std::nullopt;
    }
    return ParseInput(nlohmann::detail::input_adapter(text), maximumDepth);
}

std::optional<Value> Parse(InStream& stream, int maximumDepth) {
    TextReader reader(stream);
    std::istream input(&reader);
    return ParseInput(nlohmann::detail::input_adapter(input), maximumDepth);
}

}  // namespace Kernel::Json
