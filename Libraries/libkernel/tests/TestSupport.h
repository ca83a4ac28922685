// What several tests need: threads that are waited for, texts in streams and files, a folder of
// their own, the text of an error.

#pragma once

#include "Kernel/FileStreams.h"
#include "Kernel/FileSystem.h"
#include "Kernel/IoException.h"
#include "Kernel/MemoryInOutStream.h"
#include "Kernel/String.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace Kernel {

/// Calls `job(0)` to `job(count - 1)`, each on a thread of its own, and waits for all.
template <class Job>
void RunOnThreads(int count, const Job& job) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&job, i] { job(i); });
    }
}

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

inline std::string GetText(const MemoryInOutStream& memory) {
    const auto bytes = memory.GetBytes();
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
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

/// An empty folder that is deleted with all that is in it.
class TemporaryFolder {
public:
    TemporaryFolder() : m_path(FileSystem::GetUniqueTemporaryFilename("%1-Größe 测")) {
        FileSystem::Delete(m_path);
        EXPECT_TRUE(FileSystem::CreateDirectoryRecursive(m_path));
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() { FileSystem::DeleteAll(m_path); }

    String operator/(std::string_view name) const { return m_path + "/" + name; }

private:
    String m_path;
};

}  // namespace Kernel
