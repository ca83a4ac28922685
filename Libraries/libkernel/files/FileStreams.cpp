#include "Kernel/FileStreams.h"

#include "files/FileHandle.h"

#include <algorithm>

namespace Kernel {

Counted<FileInStream> FileInStream::Open(const String& path) {
    return MakeCounted<FileInStream>(FileHandle::OpenForReading(path));
}

FileInStream::FileInStream(std::unique_ptr<FileHandle> file) noexcept : m_file(std::move(file)) {}

FileInStream::~FileInStream() = default;

std::size_t FileInStream::Read(std::span<std::byte> buffer) {
    const std::size_t count = m_file->ReadAt(m_position, buffer);
    m_position += count;
    return count;
}

std::uint64_t FileInStream::GetSize() {
    return m_file->GetSize();
}

Counted<FastFileInStream> FastFileInStream::Open(const String& path, std::size_t bufferSize) {
    return MakeCounted<FastFileInStream>(FileInStream::Open(path), bufferSize);
}

FastFileInStream::FastFileInStream(Counted<FileInStream> file, std::size_t bufferSize)
    : m_file(std::move(file)), m_buffer(std::max<std::size_t>(1, bufferSize)) {}

FastFileInStream::~FastFileInStream() = default;

std::size_t FastFileInStream::Read(std::span<std::byte> buffer) {
    if (m_next == m_end) {
        m_next = 0;
        m_end = 0;
        if (buffer.size() >= m_buffer.size()) {
            return m_file->Read(buffer);  // nothing would be gained by a copy
        }
        m_end = m_file->Read(m_buffer);
    }
    const std::size_t count = std::min(buffer.size(), m_end - m_next);
    std::copy_n(m_buffer.begin() + static_cast<std::ptrdiff_t>(m_next), count, buffer.begin());
    m_next += count;
    return count;
}

std::uint64_t FastFileInStream::GetSize() {
    return m_file->GetSize();
}

std::uint64_t FastFileInStream::GetPosition() {
    return m_file->GetPosition() - (m_end - m_next);
}

void FastFileInStream::Seek(std::uint64_t position) {
    const std::uint64_t bufferEnd = m_file->GetPosition();
    const std::uint64_t bufferStart = bufferEnd - m_end;
    if (position >= bufferStart && position <= bufferEnd) {
        m_next = static_cast<std::size_t>(position - bufferStart);
        return;
    }
    m_next = 0;
    m_end = 0;
    m_file->Seek(position);
}

Counted<FileOutStream> FileOutStream::Create(const String& path) {
    return MakeCounted<FileOutStream>(
        FileHandle::CreateForWriting(path, FileHandle::Existing::Truncate, path));
}

FileOutStream::FileOutStream(std::unique_ptr<FileHandle> file) noexcept : m_file(std::move(file)) {}

FileOutStream::~FileOutStream() = default;

void FileOutStream::Write(std::span<const std::byte> bytes) {
    m_file->Write(bytes);
}

}  // namespace Kernel
