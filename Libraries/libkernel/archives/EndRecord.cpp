#include "archives/EndRecord.h"

#include "archives/ZipFields.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

namespace Kernel {

namespace {

constexpr std::uint64_t MaximumCommentSize = 0xFFFF;

/// A record as it is stored.
struct Record {
    std::uint64_t start;
    std::vector<std::byte> bytes;

    std::uint64_t Get(std::size_t offset, std::size_t size) const noexcept {
        return GetField(bytes, offset, size);
    }
};

Record ReadRecord(SeekableInStream& stream, std::uint64_t start, std::uint64_t size) {
    Record record{start, std::vector<std::byte>(static_cast<std::size_t>(size))};
    stream.Seek(start);
    if (stream.ReadFully(record.bytes) != record.bytes.size()) {
        ThrowUnreadable("it ends too early");
    }
    return record;
}

/// The last record whose comment fills the rest of the archive. If there is none, the last one
/// whose comment fits: archives have been seen with bytes behind them.
Record FindEnd(SeekableInStream& stream) {
    const std::uint64_t size = stream.GetSize();
    const std::uint64_t tailSize = std::min(size, EndSize + MaximumCommentSize);
    const Record tail = ReadRecord(stream, size - tailSize, tailSize);
    std::size_t found = tail.bytes.size();
    for (std::size_t rest = EndSize; rest <= tail.bytes.size(); ++rest) {
        const std::size_t start = tail.bytes.size() - rest;
        if (tail.Get(start, 4) != EndSignature) {
            continue;
        }
        const std::uint64_t commentSize = tail.Get(start + 20, 2);
        if (commentSize == rest - EndSize) {
            found = start;
            break;
        }
        if (commentSize < rest - EndSize && found == tail.bytes.size()) {
            found = start;
        }
    }
    if (found == tail.bytes.size()) {
        ThrowUnreadable("Not a zip archive");
    }
    const auto begin = tail.bytes.begin() + static_cast<std::ptrdiff_t>(found);
    return {tail.start + found, std::vector(begin, begin + EndSize)};
}

/// Where a record has the numbers of two disks, of the entries on this one and of all, the size of
/// the directory and its start, each pair behind the one before it.
struct Layout {
    std::size_t entryCounts;  // the offset of these
    std::size_t diskWidth;
    std::size_t countWidth;
    std::size_t sizeWidth;
};

constexpr Layout EndLayout{8, 2, 2, 4};
constexpr Layout End64Layout{24, 4, 8, 8};

EndRecord GetFields(const Record& record, const Layout& layout) noexcept {
    const std::size_t sizes = layout.entryCounts + 2 * layout.countWidth;
    return {record.Get(layout.entryCounts + layout.countWidth, layout.countWidth),
            record.Get(sizes, layout.sizeWidth),
            record.Get(sizes + layout.sizeWidth, layout.sizeWidth)};
}

/// Throws unless all is on one disk, and the directory before its end.
void CheckFields(const Record& record, const Layout& layout) {
    const EndRecord fields = GetFields(record, layout);
    const std::size_t disks = layout.entryCounts - 2 * layout.diskWidth;
    if (record.Get(disks, layout.diskWidth) != 0 ||
        record.Get(disks + layout.diskWidth, layout.diskWidth) != 0 ||
        record.Get(layout.entryCounts, layout.countWidth) != fields.entryCount) {
        ThrowUnreadable("it is one of several parts");
    }
    if (fields.directoryStart > record.start ||
        fields.directorySize > record.start - fields.directoryStart) {
        ThrowUnreadable("its end is damaged");
    }
}

/// The locator of the Zip64 record, which is before `end`; null if there is none.
std::optional<Record> FindLocator(SeekableInStream& stream, const Record& end) {
    if (end.start < LocatorSize) {
        return {};
    }
    Record locator = ReadRecord(stream, end.start - LocatorSize, LocatorSize);
    return locator.Get(0, 4) == LocatorSignature ? std::optional(std::move(locator)) : std::nullopt;
}

Record ReadEnd64(SeekableInStream& stream, const Record& locator) {
    const std::uint64_t start = locator.Get(8, 8);
    if (locator.start < End64Size || start > locator.start - End64Size) {
        ThrowUnreadable("its end is damaged");
    }
    Record record = ReadRecord(stream, start, End64Size);
    if (record.Get(0, 4) != End64Signature) {
        ThrowUnreadable("its end is damaged");
    }
    return record;
}

/// Whether `fields`, of 16 and 32 bits, say what `fields64` do; with all bits set they say nothing.
bool Agree(const EndRecord& fields, const EndRecord& fields64) noexcept {
    const auto agree = [](std::uint64_t field, std::uint64_t field64, std::uint64_t nothing) {
        return field == field64 || field == nothing;
    };
    return agree(fields.entryCount, fields64.entryCount, 0xFFFF) &&
           agree(fields.directorySize, fields64.directorySize, 0xFFFFFFFF) &&
           agree(fields.directoryStart, fields64.directoryStart, 0xFFFFFFFF);
}

}  // namespace

EndRecord ReadEndRecord(SeekableInStream& stream) {
    const Record end = FindEnd(stream);
    const EndRecord fields = GetFields(end, EndLayout);
    const std::optional<Record> locator = FindLocator(stream, end);
    if (!locator) {
        CheckFields(end, EndLayout);
        return fields;
    }
    const Record end64 = ReadEnd64(stream, *locator);
    const EndRecord fields64 = GetFields(end64, End64Layout);
    CheckFields(end64, End64Layout);
    if (!Agree(fields, fields64)) {
        ThrowUnreadable("its ends contradict each other");
    }
    return fields64;
}

}  // namespace Kernel
