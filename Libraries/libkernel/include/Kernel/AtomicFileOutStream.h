// Atomic replacement of files.

#pragma once

#include "Kernel/Streams.h"
#include "Kernel/String.h"

#include <memory>

namespace Kernel {

class FileHandle;

/// Writes a temporary file in the folder of the target and renames it to the target once it is
/// complete, so that other processes see the old file or the new one and nothing between. A process
/// that has the old file open goes on reading the old contents; a symbolic link at the target is
/// replaced, not followed. On Windows one that does not let others delete the file is waited for,
/// two seconds at most, as is anyone before Windows 10 1607 and on disks other than NTFS.
///
/// The temporary file has no name until it is closed, and vanishes with the process. Where the file
/// system has no such files, it has a name that starts with FileSystem::TemporaryFilePrefix: it is
/// deleted if it is not committed, but a process that is killed leaves it.
class KERNEL_API AtomicFileOutStream : public OutStream {
public:
    /// Creates the temporary file for the target `path`. Throws IoException if that fails.
    static Counted<AtomicFileOutStream> Create(const String& path);
    /// The same for a file that a user has named, and may have made: takes the place of what a
    /// symbolic link leads to, with the owner, group and permissions of the file that is there,
    /// its access control list included, but not the right to run as its owner. Throws IoException
    /// also if that may not be written, is no regular file, or if one of these can't be kept.
    static Counted<AtomicFileOutStream> CreateSuccessor(const String& path);

    AtomicFileOutStream(std::unique_ptr<FileHandle> file, String partialPath, String path) noexcept;
    ~AtomicFileOutStream() override;

    void Write(std::span<const std::byte> bytes) override;

    /// Flushes what was written to the disk and closes the file: a stream that waits for Commit(),
    /// of several that belong together, needs no descriptor. No Write() may follow.
    void Close();

    /// Renames the file to its target, over a file that is there, and flushes both to the disk:
    /// after this returns, the file survives a loss of power. Throws IoException if that fails; the
    /// old file is then unchanged. No Write() may follow.
    void Commit();

    /// The same for the name `path`, in the folder of the target, over nothing: false, and nothing
    /// has changed, if a file, folder or link is there, even one that has come in the meantime.
    /// Another name may be tried then.
    [[nodiscard]] bool CommitNew(const String& path);

private:
    std::unique_ptr<FileHandle> m_file;  // null once closed
    bool m_isCommitted = false;
    String m_partialPath;
    String m_path;
};

}  // namespace Kernel
