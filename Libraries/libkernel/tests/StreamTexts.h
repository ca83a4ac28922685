// Texts written to streams and files and read from them, and the texts of their errors.

#pragma once

#include "Kernel/FileStreams.h"
#include "Kernel/IoException.h"
#include "Kernel/MemoryInOutStream.h"
#include "Kernel/String.h"

#include "support/MemoryText.h"

#include <functional>
#include <random>
#include <span>
#include <string>
#include <string_view>

namespace Kernel {

using Support::GetText;

/// Random bytes below `limit`, the same ones each time.
inline std::string MakeText(std::size_t size, unsigned limit = 256) {
    std::mt19937 random(1);
    std::string text(size, '\0');
    for (char& byte : text) {
        byte = static_cast<char>(random() % limit);
    }
    return text;
}

inline void Write(OutStream& stream, std::string_view text) {
    stream.Write(std::as_bytes(std::span(text)));
}

/// What `stream` gives for one ReadFully() of `count` bytes.
inline std::string ReadText(InStream& stream, std::size_t count) {
    std::string text(count, '\0');
    text.resize(stream.ReadFully(std::as_writable_bytes(std::span(text))));
    return text;
}

inline std::string ReadAll(InStream& stream) {
    MemoryInOutStream memory;
    stream.CopyTo(memory);
    return GetText(memory);
}

inline void WriteFile(const String& path, std::string_view text) {
    Write(*FileOutStream::Create(path), text);
}

inline std::string ReadFile(const String& path) {
    return ReadAll(*FileInStream::Open(path));
}

/// What the IoException says that `operation` throws.
inline std::string GetError(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const IoException& error) {
        return error.what();
    }
    return "no IoException";
}

}  // namespace Kernel
