// Files that nobody but their owner may read or write.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Service {

/// The content of such a file. Throws std::runtime_error if it can't be read, if others may read or
/// write it, or if it has more than `maxSize` bytes.
std::string ReadPrivateFile(const std::string& path, std::size_t maxSize);

/// Puts lines at the end of such a file, which may be renamed at any time. Threads: one at a time.
class PrivateLog {
public:
    /// Makes the file if there is none. Throws std::runtime_error as Append() does.
    explicit PrivateLog(std::string path);

    /// Writes `line` and a line feed with a single call of the system, after a line feed of its own
    /// if the last line has not been written whole. Throws std::runtime_error if that fails, if
    /// others may read or write the file, or if it would have more than `maxSize` bytes.
    void Append(std::string_view line, std::size_t maxSize) const;

    const std::string& GetPath() const noexcept { return m_path; }

private:
    std::string m_path;
};

}  // namespace Service
