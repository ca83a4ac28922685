#include "Kernel/ZipArchive.h"

#include "Kernel/Format.h"
#include "Kernel/IoException.h"
#include "Kernel/Utf.h"

#include "archives/CentralDirectory.h"
#include "archives/ZipFields.h"

#include <zip.h>

#include <algorithm>
#include <exception>
#include <limits>
#include <memory>
#include <utility>

namespace Kernel {

namespace {

/// Owner of an error of libzip.
class ZipError {
public:
    ZipError() noexcept { zip_error_init(&m_error); }
    ZipError(const ZipError&) = delete;
    ZipError& operator=(const ZipError&) = delete;
    ~ZipError() { zip_error_fini(&m_error); }

    zip_error_t* Get() noexcept { return &m_error; }

private:
    zip_error_t m_error{};
};

struct DiscardArchive {
    void operator()(zip_t* archive) const noexcept { zip_discard(archive); }
};

struct CloseFile {
    void operator()(zip_file_t* file) const noexcept { zip_fclose(file); }
};

/// The most bytes that are decompressed without a look at the abort flag.
constexpr std::size_t PieceSize = 262'144;

using ZipFile = std::unique_ptr<zip_file_t, CloseFile>;

}  // namespace

/// The archive as a source of libzip, which reads it through Answer(). An exception of the stream
/// must not cross libzip's C frames: it is stored, and rethrown when libzip reports the failure.
///
/// libzip reads each directory that some bytes near the end of an archive may mean to declare, and
/// enters its names into a table in which names with one hash value make a chain. So it is shown a
/// directory that has been read here, without its names, and while it opens the archive nothing
/// else.
class ZipArchive::Reader : public Countable {
public:
    Reader(Counted<SeekableInStream> stream, AbortFlag abort);

    const std::vector<String>& GetNames() const noexcept { return m_directory.names; }
    void ThrowIfAborted() const { Kernel::ThrowIfAborted(m_abort); }
    zip_stat_t GetStatus(std::uint64_t index);
    std::uint32_t GetUnixMode(std::uint64_t index) const noexcept;
    ZipFile Open(std::uint64_t index, const String& name);

    /// Rethrows the stream's exception, or throws an IoException with the text of `error`.
    [[noreturn]] void Throw(std::string_view subject, zip_error_t* error);
    [[noreturn]] void ThrowForEntry(const String& name, zip_error_t* error);

private:
    static zip_int64_t Answer(void* self, void* data, zip_uint64_t size,
                              zip_source_cmd_t command) noexcept;
    zip_int64_t Answer(void* data, zip_uint64_t size, zip_source_cmd_t command);
    zip_int64_t Read(std::span<std::byte> buffer);
    std::size_t ReadAtPosition(std::span<std::byte> buffer);
    zip_int64_t Seek(void* arguments, zip_uint64_t size) noexcept;
    zip_int64_t FillStatus(zip_stat_t& status) const noexcept;

    Counted<SeekableInStream> m_stream;
    AbortFlag m_abort;
    CentralDirectory m_directory;
    std::uint64_t m_size;  // of what libzip is shown
    std::uint64_t m_position = 0;
    bool m_isOpen = false;   // and so the entries are shown
    std::uint64_t m_budget;  // bytes that may still be read
    std::exception_ptr m_failure;
    ZipError m_error;  // the last one of Answer()
    std::unique_ptr<zip_t, DiscardArchive> m_archive;
};

ZipArchive::Reader::Reader(Counted<SeekableInStream> stream, AbortFlag abort)
    : m_stream(std::move(stream)),
      m_abort(abort),
      m_directory(ReadCentralDirectory(*m_stream)),
      m_size(m_directory.start + m_directory.nameless.size()),
      // Opening reads a few times the directory at most. But the fields of its entries may look
      // like hundreds of ends of directories, and libzip reads a whole directory for each.
      m_budget(8 * m_directory.nameless.size() + 1'000'000) {
    ZipError error;
    zip_source_t* const source = zip_source_function_create(Answer, this, error.Get());
    if (source != nullptr) {
        m_archive.reset(zip_open_from_source(source, ZIP_RDONLY, error.Get()));
        if (!m_archive) {
            zip_source_free(source);
        }
    }
    if (!m_archive || m_failure) {
        Throw("the ZIP archive", error.Get());
    }
    const zip_int64_t count = zip_get_num_entries(m_archive.get(), 0);
    if (static_cast<std::uint64_t>(count) != GetNames().size()) {  // it took another end
        ThrowUnreadable("it has too many ends");
    }
    m_isOpen = true;
    m_budget = std::numeric_limits<std::uint64_t>::max();
}

zip_stat_t ZipArchive::Reader::GetStatus(std::uint64_t index) {
    zip_stat_t status;
    if (zip_stat_index(m_archive.get(), index, ZIP_FL_ENC_RAW, &status) != 0) {
        Throw("the ZIP archive", zip_get_error(m_archive.get()));
    }
    return status;
}

std::uint32_t ZipArchive::Reader::GetUnixMode(std::uint64_t index) const noexcept {
    zip_uint32_t attributes = 0;
    zip_file_get_external_attributes(m_archive.get(), index, 0, nullptr, &attributes);
    // Whatever the "made by" system: those without Unix modes leave them 0.
    return attributes >> 16;
}

ZipFile ZipArchive::Reader::Open(std::uint64_t index, const String& name) {
    ZipFile file(zip_fopen_index(m_archive.get(), index, 0));
    if (!file) {
        ThrowForEntry(name, zip_get_error(m_archive.get()));
    }
    return file;
}

void ZipArchive::Reader::Throw(std::string_view subject, zip_error_t* error) {
    if (m_failure) {
        std::rethrow_exception(std::exchange(m_failure, nullptr));  // once: others may follow
    }
    throw IoException(Format("cannot read %1: %2", subject, zip_error_strerror(error)).c_str());
}

void ZipArchive::Reader::ThrowForEntry(const String& name, zip_error_t* error) {
    Throw(MakePrintable(name) + " in the ZIP archive", error);
}

zip_int64_t ZipArchive::Reader::Answer(void* self, void* data, zip_uint64_t size,
                                       zip_source_cmd_t command) noexcept {
    auto& reader = *static_cast<Reader*>(self);
    try {
        return reader.Answer(data, size, command);
    } catch (...) {  // for Throw()
        reader.m_failure = std::current_exception();
        zip_error_set(reader.m_error.Get(), ZIP_ER_READ, 0);
        return -1;
    }
}

zip_int64_t ZipArchive::Reader::Answer(void* data, zip_uint64_t size, zip_source_cmd_t command) {
    switch (command) {
        case ZIP_SOURCE_SUPPORTS:
            return ZIP_SOURCE_SUPPORTS_SEEKABLE |
                   ZIP_SOURCE_MAKE_COMMAND_BITMASK(ZIP_SOURCE_ACCEPT_EMPTY);
        case ZIP_SOURCE_ACCEPT_EMPTY:  // an empty file is no archive
        case ZIP_SOURCE_CLOSE:
        case ZIP_SOURCE_FREE:
            return 0;
        case ZIP_SOURCE_OPEN:
            m_position = 0;
            return 0;
        case ZIP_SOURCE_STAT:
            return FillStatus(*static_cast<zip_stat_t*>(data));
        case ZIP_SOURCE_READ:
            return Read({static_cast<std::byte*>(data), static_cast<std::size_t>(size)});
        case ZIP_SOURCE_SEEK:
            return Seek(data, size);
        case ZIP_SOURCE_TELL:
            return static_cast<zip_int64_t>(m_position);
        case ZIP_SOURCE_ERROR:
            return zip_error_to_data(m_error.Get(), data, size);
        default:
            zip_error_set(m_error.Get(), ZIP_ER_OPNOTSUPP, 0);
            return -1;
    }
}

zip_int64_t ZipArchive::Reader::Read(std::span<std::byte> buffer) {
    ThrowIfAborted();
    if (buffer.size() > m_budget) {
        ThrowUnreadable("it has too many ends");
    }
    m_budget -= buffer.size();
    const std::size_t count = ReadAtPosition(buffer);
    m_position += count;
    return static_cast<zip_int64_t>(count);
}

std::size_t ZipArchive::Reader::ReadAtPosition(std::span<std::byte> buffer) {
    if (m_position >= m_directory.start) {
        const auto rest = std::span(m_directory.nameless)
                              .subspan(std::min(m_position, m_size) - m_directory.start);
        const std::size_t count = std::min(buffer.size(), rest.size());
        std::ranges::copy(rest.first(count), buffer.begin());
        return count;
    }
    buffer = buffer.first(std::min<std::uint64_t>(buffer.size(), m_directory.start - m_position));
    if (!m_isOpen) {
        std::ranges::fill(buffer, std::byte{});
        return buffer.size();
    }
    m_stream->Seek(m_position);  // other users of the stream may have moved it
    return m_stream->Read(buffer);
}

zip_int64_t ZipArchive::Reader::Seek(void* arguments, zip_uint64_t size) noexcept {
    const zip_int64_t target =
        zip_source_seek_compute_offset(m_position, m_size, arguments, size, m_error.Get());
    if (target < 0) {
        return -1;
    }
    m_position = static_cast<std::uint64_t>(target);
    return 0;
}

zip_int64_t ZipArchive::Reader::FillStatus(zip_stat_t& status) const noexcept {
    zip_stat_init(&status);
    status.valid = ZIP_STAT_SIZE;
    status.size = m_size;
    return static_cast<zip_int64_t>(sizeof(status));
}

/// The contents of an entry. A size other than the declared one is damage.
class ZipArchive::Contents : public InStream {
public:
    Contents(Counted<Reader> reader, ZipFile file, String name, std::uint64_t size) noexcept
        : m_reader(std::move(reader)),
          m_file(std::move(file)),
          m_name(std::move(name)),
          m_rest(size) {}

    std::size_t Read(std::span<std::byte> buffer) override;

private:
    std::size_t ReadSome(std::span<std::byte> buffer);

    Counted<Reader> m_reader;
    ZipFile m_file;
    String m_name;
    std::uint64_t m_rest;  // bytes left to read
};

std::size_t ZipArchive::Contents::Read(std::span<std::byte> buffer) {
    const std::size_t wanted = std::min<std::uint64_t>(buffer.size(), m_rest);
    const std::size_t count = ReadSome(buffer.first(wanted));
    m_rest -= count;
    // libzip verifies the checksum at the end of the data, so read up to it; not so all sizes.
    std::byte surplus{};
    const bool isShort = count == 0 && wanted != 0;
    if (isShort || (m_rest == 0 && ReadSome({&surplus, 1}) != 0)) {
        throw IoException(Format("%1 in the ZIP archive is not of the size that it declares",
                                 MakePrintable(m_name))
                              .c_str());
    }
    return count;
}

std::size_t ZipArchive::Contents::ReadSome(std::span<std::byte> buffer) {
    m_reader->ThrowIfAborted();
    const zip_int64_t count =
        zip_fread(m_file.get(), buffer.data(), std::min(buffer.size(), PieceSize));
    if (count < 0) {
        m_reader->ThrowForEntry(m_name, zip_file_get_error(m_file.get()));
    }
    return static_cast<std::size_t>(count);
}

namespace {

ZipArchive::Entry::Kind GetKind(std::uint32_t unixMode, std::string_view name) noexcept {
    using Kind = ZipArchive::Entry::Kind;
    switch (unixMode & 0170000) {  // S_IFMT; its values are the same on all systems
        case 0:
        case 0100000:
            return name.ends_with('/') ? Kind::Folder : Kind::File;
        case 0040000:
            return Kind::Folder;
        case 0120000:
            return Kind::SymbolicLink;
        default:
            return Kind::Special;
    }
}

}  // namespace

ZipArchive::Entry::Entry(Counted<Reader> reader, std::uint64_t index)
    : m_reader(std::move(reader)), m_index(index) {
    const zip_stat_t status = m_reader->GetStatus(index);
    m_name = m_reader->GetNames().at(index);
    m_kind = Kernel::GetKind(m_reader->GetUnixMode(index), m_name);
    m_size = status.size;
    m_compressedSize = status.comp_size;
}

ZipArchive::Entry::Entry(Entry&&) noexcept = default;
ZipArchive::Entry& ZipArchive::Entry::operator=(Entry&&) noexcept = default;
ZipArchive::Entry::~Entry() = default;

Counted<InStream> ZipArchive::Entry::Open() const {
    return MakeCounted<Contents>(m_reader, m_reader->Open(m_index, m_name), m_name, m_size);
}

ZipArchive::ZipArchive(Counted<SeekableInStream> stream, AbortFlag abort) {
    const auto reader = MakeCounted<Reader>(std::move(stream), abort);
    const std::size_t count = reader->GetNames().size();
    m_entries.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
        m_entries.emplace_back(reader, index);
    }
}

ZipArchive::~ZipArchive() = default;

std::vector<ZipArchive::Entry>::const_iterator ZipArchive::begin() const noexcept {
    return m_entries.begin();
}

std::vector<ZipArchive::Entry>::const_iterator ZipArchive::end() const noexcept {
    return m_entries.end();
}

std::size_t ZipArchive::GetEntryCount() const noexcept {
    return m_entries.size();
}

Counted<InStream> ZipArchive::Open(const String& name) const {
    const auto hasName = [&name](const Entry& entry) { return entry.GetName() == name; };
    const auto entry = std::find_if(begin(), end(), hasName);
    if (entry == end()) {
        throw IoException(Format("the ZIP archive has no entry %1", MakePrintable(name)).c_str());
    }
    if (std::any_of(std::next(entry), end(), hasName)) {
        throw IoException(
            Format("the ZIP archive has several entries %1", MakePrintable(name)).c_str());
    }
    return entry->Open();
}

}  // namespace Kernel
