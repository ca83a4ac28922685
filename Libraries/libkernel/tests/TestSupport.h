// What several tests need: threads that are waited for, files, a folder of their own.

#pragma once

#include "Kernel/FileStreams.h"
#include "Kernel/FileSystem.h"
#include "Kernel/MemoryInOutStream.h"
#include "Kernel/String.h"

#include <gtest/gtest.h>

#include <span>
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

inline void WriteFile(const String& path, std::string_view text) {
    FileOutStream::Create(path)->Write(std::as_bytes(std::span(text)));
}

inline String ReadFile(const String& path) {
    MemoryInOutStream memory;
    FileInStream::Open(path)->CopyTo(memory);
    const auto bytes = memory.GetBytes();
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
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
