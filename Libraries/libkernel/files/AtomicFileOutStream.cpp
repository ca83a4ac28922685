#include "Kernel/AtomicFileOutStream.h"

#include "Kernel/FileSystem.h"

#include "files/FileHandle.h"
#include "files/RandomName.h"

#include <utility>

namespace Kernel {

Counted<AtomicFileOutStream> AtomicFileOutStream::Create(const String& path) {
    // In the same folder: a rename to another file system is not atomic.
    const std::string_view text = path;
    String partialPath = text.substr(0, text.find_last_of('/') + 1);
    partialPath += MakeRandomName();
    partialPath += ".part";
    auto file = FileHandle::CreateForWriting(partialPath, FileHandle::Existing::Refuse);
    return MakeCounted<AtomicFileOutStream>(std::move(file), std::move(partialPath), path);
}

AtomicFileOutStream::AtomicFileOutStream(std::unique_ptr<FileHandle> file, String partialPath,
                                         String path) noexcept
    : m_file(std::move(file)), m_partialPath(std::move(partialPath)), m_path(std::move(path)) {}

AtomicFileOutStream::~AtomicFileOutStream() {
    m_file = nullptr;  // some systems can't delete open files
    if (!m_isCommitted) {
        FileSystem::Delete(m_partialPath);
    }
}

void AtomicFileOutStream::Write(std::span<const std::byte> bytes) {
    m_file->Write(bytes);
}

void AtomicFileOutStream::Close() {
    m_file->Sync();
    m_file = nullptr;
}

void AtomicFileOutStream::Commit() {
    if (m_file) {
        Close();
    }
    FileHandle::Replace(m_partialPath, m_path);
    m_isCommitted = true;
}

}  // namespace Kernel
