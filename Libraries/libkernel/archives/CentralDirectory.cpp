#include "archives/CentralDirectory.h"

#include "archives/EndRecord.h"
#include "archives/ZipFields.h"

#include <algorithm>
#include <string>

namespace Kernel {

namespace {

constexpr std::uint64_t MaximumEntryCount = 0xFFFF;
constexpr std::uint64_t MaximumDirectorySize = 16 << 20;

constexpr std::uint64_t Zip64Extra = 0x0001;  // sizes and places of large entries
constexpr std::uint64_t AesExtra = 0x9901;    // that an entry is encrypted

std::vector<std::byte> ReadDirectory(SeekableInStream& stream, const EndRecord& end) {
    if (end.entryCount > MaximumEntryCount || end.directorySize > MaximumDirectorySize) {
        ThrowUnreadable("it has too many entries");
    }
    std::vector<std::byte> bytes(static_cast<std::size_t>(end.directorySize));
    stream.Seek(end.directoryStart);
    if (stream.ReadFully(bytes) != bytes.size()) {
        ThrowUnreadable("it ends too early");
    }
    return bytes;
}

void Append(std::vector<std::byte>& bytes, ZipBytes more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

/// Those of the extra fields that say where an entry is and how it is stored. Others may give it
/// another name.
std::vector<std::byte> FilterExtra(ZipBytes extra) {
    std::vector<std::byte> kept;
    while (extra.size() >= 4) {
        const std::uint64_t kind = GetField(extra, 0, 2);
        const std::size_t size = std::min<std::uint64_t>(4 + GetField(extra, 2, 2), extra.size());
        if (kind == Zip64Extra || kind == AesExtra) {
            Append(kept, extra.first(size));
        }
        extra = extra.subspan(size);
    }
    return kept;
}

String GetName(ZipBytes bytes) {
    std::string name(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    std::ranges::replace(name, '\0', ' ');
    return name;
}

/// Takes the first entry off `rest`, the rest of a directory.
void ReadEntry(ZipBytes& rest, CentralDirectory& directory) {
    if (rest.size() < HeaderSize || GetField(rest, 0, 4) != HeaderSignature) {
        ThrowUnreadable("its directory is damaged");
    }
    const std::size_t nameSize = GetField(rest, 28, 2);
    const std::size_t extraSize = GetField(rest, 30, 2);
    const std::size_t size = HeaderSize + nameSize + extraSize + GetField(rest, 32, 2);
    if (size > rest.size()) {
        ThrowUnreadable("its directory is damaged");
    }
    directory.names.push_back(GetName(rest.subspan(HeaderSize, nameSize)));
    const std::vector<std::byte> extra =
        FilterExtra(rest.subspan(HeaderSize + nameSize, extraSize));
    Append(directory.nameless, rest.first(28));
    AppendField(directory.nameless, 0, 2);
    AppendField(directory.nameless, extra.size(), 2);
    AppendField(directory.nameless, 0, 2);
    Append(directory.nameless, rest.subspan(34, HeaderSize - 34));
    Append(directory.nameless, extra);
    rest = rest.subspan(size);
}

/// Appends the end records of Zip64, which suit a directory at any place, to `directory`.
void AppendEnds(CentralDirectory& directory) {
    std::vector<std::byte>& bytes = directory.nameless;
    const std::uint64_t size = bytes.size();
    const std::uint64_t count = directory.names.size();
    AppendField(bytes, End64Signature, 4);
    AppendField(bytes, End64Size - 12, 8);  // without the signature and this
    AppendField(bytes, 45, 2);              // the version of the format that has Zip64
    AppendField(bytes, 45, 2);
    AppendField(bytes, 0, 8);  // disks
    AppendField(bytes, count, 8);
    AppendField(bytes, count, 8);
    AppendField(bytes, size, 8);
    AppendField(bytes, directory.start, 8);

    AppendField(bytes, LocatorSignature, 4);
    AppendField(bytes, 0, 4);  // disk
    AppendField(bytes, directory.start + size, 8);
    AppendField(bytes, 1, 4);  // disks

    AppendField(bytes, EndSignature, 4);
    AppendField(bytes, 0, 4);      // disks
    AppendField(bytes, ~0ULL, 4);  // counts: see above
    AppendField(bytes, ~0ULL, 8);  // size and start: see above
    AppendField(bytes, 0, 2);      // comment
}

}  // namespace

CentralDirectory ReadCentralDirectory(SeekableInStream& stream) {
    const EndRecord end = ReadEndRecord(stream);
    const std::vector<std::byte> bytes = ReadDirectory(stream, end);
    CentralDirectory directory{end.directoryStart, {}, {}};
    directory.nameless.reserve(bytes.size() + End64Size + LocatorSize + EndSize);
    ZipBytes rest = bytes;
    for (std::uint64_t i = 0; i < end.entryCount; ++i) {
        ReadEntry(rest, directory);
    }
    if (!rest.empty()) {
        ThrowUnreadable("its directory has more entries than its end declares");
    }
    AppendEnds(directory);
    return directory;
}

}  // namespace Kernel
