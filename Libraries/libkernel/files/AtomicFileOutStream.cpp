#include "Kernel/AtomicFileOutStream.h"

#include "Kernel/FileSystem.h"
#include "Kernel/IoException.h"
#include "Kernel/NativePath.h"

#include "files/FileHandle.h"
#include "files/FolderPart.h"
#include "files/RandomName.h"

#include <filesystem>
#include <system_error>
#include <utility>

namespace Kernel {

namespace {

/// A name for what is not whole yet. In the same folder: a rename to another file system is not
/// atomic.
String MakePartialPath(std::string_view path) {
    String partialPath = GetFolderPart(path);
    partialPath += MakeRandomName();
    partialPath += ".part";
    return partialPath;
}

}  // namespace

Counted<AtomicFileOutStream> AtomicFileOutStream::Create(const String& path) {
    String partialPath;
    auto file = FileHandle::CreateUnnamed(path);
    if (!file) {
        partialPath = MakePartialPath(path);
        file = FileHandle::CreateForWriting(partialPath, FileHandle::Existing::Refuse, path);
    }
    return MakeCounted<AtomicFileOutStream>(std::move(file), std::move(partialPath), path);
}

Counted<AtomicFileOutStream> AtomicFileOutStream::CreateSuccessor(const String& path) {
    const String target = FileSystem::FollowLinks(path);
    FileSystem::RefuseOtherThanFile(target);  // a device would be replaced by a file
    auto stream = Create(target);
    if (FileSystem::Exists(target)) {
        stream->m_file->CopyOwnership(target);
    }
    return stream;
}

AtomicFileOutStream::AtomicFileOutStream(std::unique_ptr<FileHandle> file, String partialPath,
                                         String path) noexcept
    : m_file(std::move(file)), m_partialPath(std::move(partialPath)), m_path(std::move(path)) {}

AtomicFileOutStream::~AtomicFileOutStream() {
    m_file = nullptr;  // some systems can't delete open files
    if (!m_isCommitted && !m_partialPath.empty()) {
        FileSystem::Delete(m_partialPath);
    }
}

void AtomicFileOutStream::Write(std::span<const std::byte> bytes) {
    m_file->Write(bytes);
}

void AtomicFileOutStream::Close() {
    m_file->Sync();
    if (m_partialPath.empty()) {
        String partialPath = MakePartialPath(m_path);
        m_file->SetName(partialPath);
        m_partialPath = std::move(partialPath);
    }
    m_file = nullptr;
}

void AtomicFileOutStream::Commit() {
    if (m_file) {
        Close();
    }
    FileHandle::Replace(m_partialPath, m_path);
    m_isCommitted = true;
}

bool AtomicFileOutStream::CommitNew(const String& path) {
    if (m_file) {
        Close();
    }
    std::error_code error;
    std::filesystem::create_hard_link(ToNativePath(m_partialPath), ToNativePath(path), error);
    // Some file systems have no links. There two processes can take the same name at once.
    if (error == std::errc::file_exists || (error && FileSystem::Exists(path))) {
        return false;
    }
    // Of two names of one file it changes nothing, but flushes the folder.
    FileHandle::Replace(m_partialPath, path);
    FileSystem::Delete(m_partialPath);
    m_isCommitted = true;
    return true;
}

}  // namespace Kernel
