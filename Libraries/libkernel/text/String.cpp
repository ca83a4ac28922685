#include "Kernel/String.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <stdexcept>

namespace Kernel {

namespace {

/// Throws for sizes that can't be allocated; sums of smaller sizes do not overflow.
void CheckSize(std::size_t size) {
    if (size > std::numeric_limits<std::size_t>::max() / 4) {
        throw std::length_error("Kernel::String: too long");
    }
}

}  // namespace

String::StringT(std::string_view text) {
    append(text.data(), text.size());
}

String::StringT(const char* text) {
    if (text != nullptr) {
        append(text, std::strlen(text));
    }
}

String::StringT(const std::string& text) : StringT(std::string_view(text)) {}

String::StringT(std::size_t count, char character) {
    resize(count, character);
}

void String::resize(std::size_t count, char character) {
    const std::size_t oldSize = size();
    if (count == oldSize) {
        return;
    }
    MakeWritable(count);
    if (count > oldSize) {
        std::memset(m_buffer->GetText() + oldSize, character, count - oldSize);
    }
    SetSize(count);
}

void String::reserve(std::size_t capacity) {
    if (capacity > size()) {
        MakeWritable(capacity);
    }
}

String& String::append(const char* text, std::size_t count) {
    if (count == 0) {
        return *this;
    }
    const std::less<const char*> isBefore;
    if (!isBefore(text, begin()) && isBefore(text, end())) {
        return append(String(text, count).data(), count);  // a reallocation would move the bytes
    }
    const std::size_t oldSize = size();
    CheckSize(count);  // so that the sum does not overflow
    MakeWritable(oldSize + count);
    std::memcpy(m_buffer->GetText() + oldSize, text, count);
    SetSize(oldSize + count);
    return *this;
}

String::Buffer* String::Allocate(std::size_t capacity) {
    CheckSize(capacity);
    void* const memory = ::operator new(sizeof(Buffer) + capacity + 1);
    auto* const buffer = ::new (memory) Buffer;
    buffer->capacity = capacity;
    return buffer;
}

void String::Release() noexcept {
    // Acquire and release: reads of all owners happen before the buffer is freed.
    if (m_buffer->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        m_buffer->~Buffer();
        ::operator delete(m_buffer);
    }
}

void String::MakeWritable(std::size_t capacity) {
    const bool isShared =
        m_buffer != nullptr && m_buffer->references.load(std::memory_order_acquire) != 1;
    if (m_buffer != nullptr && !isShared && m_buffer->capacity >= capacity) {
        return;
    }
    // Growth by half, so that appending byte by byte takes amortised constant time.
    const bool isGrowing = m_buffer != nullptr && capacity > m_buffer->capacity;
    String own;
    own.m_buffer = Allocate(isGrowing ? std::max(capacity, size() + size() / 2) : capacity);
    const std::size_t kept = std::min(size(), capacity);
    std::memcpy(own.m_buffer->GetText(), data(), kept);
    own.SetSize(kept);
    *this = std::move(own);
}

void String::SetSize(std::size_t size) noexcept {
    m_buffer->size = size;
    m_buffer->GetText()[size] = '\0';
}

}  // namespace Kernel
