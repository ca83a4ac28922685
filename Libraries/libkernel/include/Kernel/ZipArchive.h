// Reading of ZIP archives.

#pragma once

#include "Kernel/AbortFlag.h"
#include "Kernel/Streams.h"
#include "Kernel/String.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Kernel {

/// A ZIP archive in a stream. Only its central directory is loaded.
///
/// Archives are untrusted input: names may be "../x", may repeat and contain any byte, declared
/// sizes may be wrong, and a small archive may decompress to terabytes, so callers check names and
/// limit sizes. This class guarantees that a read gives the right bytes or throws IoException.
///
/// Threads: an archive, its entries and their streams are used by one thread at a time, together.
class KERNEL_API ZipArchive : public virtual Countable {
public:
    class Entry;

    /// Reads the directory. Throws IoException if it is damaged, not the one that the end of the
    /// archive declares, or of more than 65,535 entries or 16 MiB, and if `stream` is no ZIP
    /// archive. Once `abort` is set, this and all reading of entries throws Aborted, after at most
    /// 256 KiB.
    explicit ZipArchive(Counted<SeekableInStream> stream, AbortFlag abort = nullptr);
    ~ZipArchive() override;

    /// All entries, in the order of the central directory; valid as long as the archive.
    std::vector<Entry>::const_iterator begin() const noexcept;
    std::vector<Entry>::const_iterator end() const noexcept;
    std::size_t GetEntryCount() const noexcept;

    /// Opens the entry with exactly this name, as Entry::Open() does. Throws IoException if there
    /// is none or more than one.
    Counted<InStream> Open(const String& name) const;

private:
    class Reader;
    class Contents;

    std::vector<Entry> m_entries;
};

/// An entry of a ZIP archive: a file, folder, symbolic link or special file.
class KERNEL_API ZipArchive::Entry {
public:
    enum class Kind {
        File,
        Folder,        ///< Its name ends in "/", or its Unix mode says so.
        SymbolicLink,  ///< Its Unix mode says so; its bytes are the path it leads to.
        Special        ///< A device, pipe or socket, or an unknown type in its Unix mode.
    };

    Entry(Counted<Reader> reader, std::uint64_t index);
    Entry(Entry&&) noexcept;
    Entry& operator=(Entry&&) noexcept;
    ~Entry();

    /// The bytes of the name as the archive stores them, in an unknown encoding; zero bytes are
    /// replaced by spaces.
    const String& GetName() const noexcept { return m_name; }
    Kind GetKind() const noexcept { return m_kind; }
    /// The declared uncompressed size. Open() never gives more bytes than that.
    std::uint64_t GetSize() const noexcept { return m_size; }
    /// The declared compressed size. The sum over all entries exceeds the size of the archive only
    /// if entries overlap, which is a sign of an archive bomb.
    std::uint64_t GetCompressedSize() const noexcept { return m_compressedSize; }

    /// The contents, decompressed as they are read. Throws IoException if they are encrypted or
    /// compressed by an unsupported method.
    ///
    /// Read() throws IoException if the data are damaged. Size and checksum (CRC-32) are verified
    /// before the last byte is returned: GetSize() bytes that were read are the right ones. The
    /// stream may outlive the archive, and several streams may be read alternately.
    Counted<InStream> Open() const;

private:
    Counted<Reader> m_reader;
    std::uint64_t m_index;  // in the directory
    String m_name;
    Kind m_kind = Kind::File;
    std::uint64_t m_size = 0;
    std::uint64_t m_compressedSize = 0;
};

}  // namespace Kernel
