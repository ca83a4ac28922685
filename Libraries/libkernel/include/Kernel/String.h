// The reference-counted UTF-8 string that is used at every interface.

#pragma once

#include "Kernel/Export.h"

#include <atomic>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

namespace Kernel {

/// Encoding tag: UTF-8 with `char` as code unit.
struct TEncUtf8;

/// A string in encoding `TEncoding`. Only the specialisations are defined: an encoding that is not
/// supported does not compile.
template <class TEncoding>
class StringT;

/// A reference-counted copy-on-write string of UTF-8 bytes: copies share one buffer until one of
/// them is changed. A new empty string has no buffer.
///
/// The bytes are not validated and may include zero bytes; they are always followed by one zero
/// byte. Functions that need well-formed UTF-8 say so, and ToUtf16() replaces ill-formed sequences.
/// Comparison is by byte value, which is also the order of code points.
///
/// Threads: as for std::string; strings that share a buffer are separate objects.
template <>
class KERNEL_API StringT<TEncUtf8> {
public:
    using value_type = char;
    using size_type = std::size_t;
    using const_iterator = const char*;

    StringT() noexcept = default;
    StringT(std::string_view text);  // NOLINT(google-explicit-constructor): text is text
    StringT(const char* text);  // NOLINT(google-explicit-constructor): null gives an empty string
    StringT(const std::string& text);  // NOLINT(google-explicit-constructor)
    StringT(const char* text, std::size_t size) : StringT(std::string_view(text, size)) {}
    StringT(std::size_t count, char character);

    StringT(const StringT& other) noexcept : m_buffer(other.m_buffer) {
        if (m_buffer != nullptr) {
            m_buffer->references.fetch_add(1, std::memory_order_relaxed);
        }
    }
    StringT(StringT&& other) noexcept : m_buffer(std::exchange(other.m_buffer, nullptr)) {}
    StringT& operator=(StringT other) noexcept {
        std::swap(m_buffer, other.m_buffer);
        return *this;
    }
    ~StringT() {
        if (m_buffer != nullptr) {
            Release();
        }
    }

    const char* data() const noexcept { return m_buffer != nullptr ? m_buffer->GetText() : ""; }
    const char* c_str() const noexcept { return data(); }
    std::size_t size() const noexcept { return m_buffer != nullptr ? m_buffer->size : 0; }
    bool empty() const noexcept { return size() == 0; }
    const_iterator begin() const noexcept { return data(); }
    const_iterator end() const noexcept { return data() + size(); }

    /// The byte at `index`, which is not checked; `index == size()` gives the terminating zero.
    char operator[](std::size_t index) const noexcept { return data()[index]; }
    /// The last byte. The string must not be empty.
    char back() const noexcept { return data()[size() - 1]; }

    operator std::string_view() const noexcept {  // NOLINT(google-explicit-constructor): lends it
        return {data(), size()};
    }

    void clear() noexcept { *this = StringT(); }
    void push_back(char character) { append(&character, 1); }
    /// Truncates to `count` bytes, or appends `character` up to them.
    void resize(std::size_t count, char character = '\0');
    /// Allocates a buffer for `capacity` bytes, so that appending up to them allocates nothing.
    void reserve(std::size_t capacity);
    /// Appends `count` bytes, which may be part of this string.
    StringT& append(const char* text, std::size_t count);
    StringT& append(std::string_view text) { return append(text.data(), text.size()); }
    StringT& operator+=(std::string_view text) { return append(text); }

    friend StringT operator+(StringT left, std::string_view right) { return left += right; }

    friend bool operator==(const StringT& a, const StringT& b) noexcept {
        return a.m_buffer == b.m_buffer || std::string_view(a) == std::string_view(b);
    }
    friend bool operator==(const StringT& a, std::string_view b) noexcept {
        return std::string_view(a) == b;
    }
    friend bool operator==(const StringT& a, const char* b) noexcept {
        return std::string_view(a) == b;
    }
    friend bool operator==(const StringT& a, const std::string& b) noexcept {
        return std::string_view(a) == b;
    }
    friend std::strong_ordering operator<=>(const StringT& a, const StringT& b) noexcept {
        return std::string_view(a) <=> std::string_view(b);
    }
    friend std::strong_ordering operator<=>(const StringT& a, std::string_view b) noexcept {
        return std::string_view(a) <=> b;
    }
    friend std::strong_ordering operator<=>(const StringT& a, const char* b) noexcept {
        return std::string_view(a) <=> b;
    }
    friend std::strong_ordering operator<=>(const StringT& a, const std::string& b) noexcept {
        return std::string_view(a) <=> b;
    }

    /// Writes the bytes as they are, with the width and fill that are set.
    template <class Traits>
    friend std::basic_ostream<char, Traits>& operator<<(std::basic_ostream<char, Traits>& stream,
                                                        const StringT& text) {
        return stream << std::string_view(text);
    }

private:
    // One allocation: this header, the bytes and the terminating zero.
    struct Buffer {
        std::atomic<std::uint32_t> references{1};
        std::size_t size = 0;
        std::size_t capacity = 0;

        char* GetText() noexcept { return reinterpret_cast<char*>(this + 1); }
    };

    static Buffer* Allocate(std::size_t capacity);
    void Release() noexcept;
    void MakeWritable(std::size_t capacity);
    void SetSize(std::size_t size) noexcept;

    Buffer* m_buffer = nullptr;  // null: the empty string
};

using String = StringT<TEncUtf8>;

}  // namespace Kernel

namespace std {

/// Hashes as std::string_view does.
template <>
struct hash<Kernel::String> {
    std::size_t operator()(const Kernel::String& text) const noexcept {
        return hash<string_view>()(text);
    }
};

}  // namespace std
