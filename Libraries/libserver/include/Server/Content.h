// Bytes that a server sends, from memory or from a file.

#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <string>

namespace Server {

/// A file that is open for reading. Threads: any number may read at the same time.
class ContentFile {
public:
    virtual ~ContentFile() = default;

    /// Its size when it was opened.
    virtual std::uint64_t GetSize() const noexcept = 0;
    /// Reads up to `buffer.size()` bytes from `offset`, and returns how many; 0 only at the end.
    /// Throws std::system_error.
    virtual std::size_t Read(std::uint64_t offset, std::span<char> buffer) const = 0;
};

/// A run of bytes: text in memory, or a part of an open file, which is read while it is sent. Cheap
/// to copy and to cut; copies may be used by several threads at the same time.
class Content {
public:
    Content() noexcept = default;
    // NOLINTBEGIN(google-explicit-constructor): text is content
    Content(std::string text);
    Content(const char* text) : Content(std::string(text)) {}
    // NOLINTEND(google-explicit-constructor)
    /// All of `file`.
    explicit Content(std::shared_ptr<const ContentFile> file);

    /// All of the file at `path`. Throws std::system_error if it can't be opened.
    static Content OfFile(const std::string& path);

    std::uint64_t GetSize() const noexcept { return m_size; }

    /// Up to `count` bytes from `offset`; what lies beyond the end is left out.
    Content Slice(std::uint64_t offset,
                  std::uint64_t count = std::numeric_limits<std::uint64_t>::max()) const;

    /// Reads up to `buffer.size()` bytes from `offset`, and returns how many; 0 only at the end, or
    /// for an empty buffer. Throws std::runtime_error if the file fails or has become shorter.
    std::size_t Read(std::uint64_t offset, std::span<char> buffer) const;

private:
    std::shared_ptr<const std::string> m_text;
    std::shared_ptr<const ContentFile> m_file;  // one of the two, or none for no bytes
    std::uint64_t m_offset = 0;
    std::uint64_t m_size = 0;
};

}  // namespace Server
