// Reading of ZIP archives.

#pragma once

#include "Kernel/Streams.h"
#include "Kernel/String.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Kernel {

/// A ZIP archive read from a stream. Nothing is loaded but its directory.
///
/// Archives are not to be trusted: names may be "../x", repeat or hold any byte, sizes may lie, and
/// a small archive may hold terabytes, so check names and cap sizes. What is promised here is that
/// reading ends in the right bytes or in an IoException.
///
/// Threads: an archive, its entries and their streams belong to one thread at a time, together.
class KERNEL_API ZipArchive : public virtual Countable {
public:
    class Entry;

    /// Reads the directory. Throws IoException if it is damaged or `stream` is no ZIP archive.
    explicit ZipArchive(Counted<SeekableInStream> stream);
    ~ZipArchive() override;

    /// All entries, in the order of the directory; valid as long as the archive.
    std::vector<Entry>::const_iterator begin() const noexcept;
    std::vector<Entry>::const_iterator end() const noexcept;
    std::size_t GetEntryCount() const noexcept;

    /// Opens the entry of exactly this name, as Entry::Open() does. Throws IoException if there is
    /// none, or more than one.
    Counted<InStream> Open(const String& name) const;

private:
    class Reader;
    class Contents;

    std::vector<Entry> m_entries;
};

/// A file, folder or other thing in a ZIP archive.
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

    /// The bytes that the archive has for the name, in whatever encoding; zero bytes read as
    /// spaces.
    const String& GetName() const noexcept { return m_name; }
    Kind GetKind() const noexcept { return m_kind; }
    /// The size that the archive declares, of which Open() gives no byte more.
    std::uint64_t GetSize() const noexcept { return m_size; }
    /// The declared size in the archive. The sum over all entries exceeds the size of the archive
    /// only where entries overlap, which no honest archive does.
    std::uint64_t GetCompressedSize() const noexcept { return m_compressedSize; }

    /// The contents, decompressed as they are read. Throws IoException if they are encrypted or
    /// compressed by an unsupported method.
    ///
    /// Read() throws IoException on damage. That the size is the declared one and the checksum
    /// right is known with the last byte: whoever got GetSize() bytes got the right ones. The
    /// stream outlives the archive, and several may be read in turn.
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
