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
        while (m_text.size() + length > BufferSize) {
            const std::size_t part = BufferSize - m_text.size();
            m_text.insert(m_text.end(), s, s + part);
            Flush();
            s += part;
            length -= part;
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

/// Writes values as the library does, which looks up each byte of a string in tables. Strings that
/// stand in the text as they are, such as pictures in base64, need a glance only.
class ValueWriter {
public:
    explicit ValueWriter(std::shared_ptr<TextWriter> writer)
        : m_writer(*writer), m_library(std::move(writer), ' ', Value::error_handler_t::replace) {}

    void Write(const Value& value) {
        if (value.is_object()) {
            const auto& members = value.get_ref<const Value::object_t&>();
            WriteAll(members, '{', '}', [this](const auto& member) {
                WriteText(member.first);
                m_writer.write_character(':');
                Write(member.second);
            });
        } else if (value.is_array()) {
            const auto& elements = value.get_ref<const Value::array_t&>();
            WriteAll(elements, '[', ']', [this](const Value& element) { Write(element); });
        } else if (value.is_string()) {
            WriteText(value.get_ref<const String&>());
        } else {
            m_library.dump(value, false, false, 0);
        }
    }

private:
    template <class All, class WriteOne>
    void WriteAll(const All& all, char begin, char end, const WriteOne& writeOne) {
        m_writer.write_character(begin);
        bool isFirst = true;
        for (const auto& one : all) {
            if (!std::exchange(isFirst, false)) {
                m_writer.write_character(',');
            }
            writeOne(one);
        }
        m_writer.write_character(end);
    }

    static bool IsPlain(std::string_view text) noexcept {
        return std::ranges::all_of(
            text, [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; });
    }

    /// Whether the text stands as it is. Calls the stream meanwhile, which may want to end this.
    bool Examine(std::string_view text) {
        for (; text.size() > BufferSize; text.remove_prefix(BufferSize)) {
            m_writer.Flush();
            if (!IsPlain(text.substr(0, BufferSize))) {
                return false;
            }
        }
        return IsPlain(text);
    }

    void WriteText(const String& text) {
        if (!Examine(text)) {
            m_library.dump(text, false, false, 0);
            return;
        }
        m_writer.write_character('"');
        m_writer.write_characters(text.data(), text.size());
        m_writer.write_character('"');
    }

    TextWriter& m_writer;
    nlohmann::detail::serializer<Value> m_library;
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
    ValueWriter(writer).Write(value);
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
