// Replacing files so that others see the old one or the new one, and nothing between.

#pragma once

#include "Kernel/Streams.h"
#include "Kernel/String.h"

#include <memory>

namespace Kernel {

class FileHandle;

/// Writes a file beside the place where it belongs and, once it is whole, moves it there. Whoever
/// has the old file open goes on reading that; a link there is replaced, not followed. What is not
/// committed leaves nothing behind, unless the process itself is killed: then a file whose name
/// starts with FileSystem::TemporaryFilePrefix.
class KERNEL_API AtomicFileOutStream : public OutStream {
public:
    /// Begins a file that is to stand at `path`. Throws IoException if none can be created in that
    /// folder.
    static Counted<AtomicFileOutStream> Create(const String& path);

    AtomicFileOutStream(std::unique_ptr<FileHandle> file, String partialPath, String path) noexcept;
    ~AtomicFileOutStream() override;

    void Write(std::span<const std::byte> bytes) override;

    /// Puts the file in its place, over a file that is there: once this returns, a loss of power
    /// leaves it whole. Throws IoException if that fails; the old file is then as it was. Nothing
    /// may be written any more.
    void Commit();

private:
    std::unique_ptr<FileHandle> m_file;  // null once committed
    String m_partialPath;
    String m_path;
};

}  // namespace Kernel
