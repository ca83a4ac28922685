// The reference-counted UTF-8 string that is used at every interface.

#pragma once

#include "Kernel/Export.h"

#include <atomic>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace Kernel {

/// Encoding tag: UTF-8, one `char` a code unit.
struct TEncUtf8;

/// A string in encoding `TEncoding`. Declared only: an encoding that is not supported does not
/// compile.
template <class TEncoding>
class StringT;

/// A string of UTF-8 bytes that is cheap to copy: copies share one buffer, which the first change
/// through one of them separates. A new empty string owns no buffer.
///
/// The bytes are kept as they come and may hold anything, zero bytes included; they are always
/// followed by one zero byte. Functions that need well-formed UTF-8 say so, and ToUtf16() replaces
/// what is not. Comparison is by byte value, which is also the order of code points.
///
/// Threads: as for std::string; strings that share a buffer count as separate objects.
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

    /// The byte at `index`, which is not checked; `index == size()` gives the closing zero.
    char operator[](std::size_t index) const noexcept { return data()[index]; }
    /// The last byte. The string must not be empty.
    char back() const noexcept { return data()[size() - 1]; }

    operator std::string_view() const noexcept {  // NOLINT(google-explicit-constructor): lends it
        return {data(), size()};
    }

    void clear() noexcept { *this = StringT(); }
    void push_back(char character) { append(&character, 1); }
    /// Cuts to `count` bytes, or fills up to them with `character`.
    void resize(std::size_t count, char character = '\0');
    /// Makes room for `capacity` bytes, so that appending up to there allocates nothing.
    void reserve(std::size_t capacity);
    /// Appends `count` bytes, which may lie in this string.
    StringT& append(const char* text, std::size_t count);
    StringT& operator+=(std::string_view text) { return append(text.data(), text.size()); }

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

private:
    // One allocation: this header, the bytes and the closing zero.
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
