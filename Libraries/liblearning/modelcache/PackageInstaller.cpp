#include "modelcache/PackageInstaller.h"

#include "Kernel/AtomicFileOutStream.h"
#include "Kernel/Diagnostics.h"
#include "Kernel/FileStreams.h"
#include "Kernel/FileSystem.h"
#include "Kernel/IoException.h"
#include "Kernel/Utf.h"
#include "Kernel/ZipArchive.h"

#include <algorithm>
#include <string_view>

namespace Learning {

namespace {

using Kernel::ZipArchive;

constexpr std::size_t ReadBufferSize = 1'048'576;
constexpr std::size_t MaximumEntryCount = 10'000;
// For one entry and for all together. The largest network that a photograph editor may want has
// less.
constexpr std::uint64_t MaximumSize = std::uint64_t{8} << 30;

/// Throws unless the archive declares sizes that are possible and bearable.
void CheckSizes(const ZipArchive& archive, std::uint64_t archiveSize,
                const Kernel::String& folder) {
    if (archive.GetEntryCount() > MaximumEntryCount) {
        throw Kernel::IoException("the package has too many entries");
    }
    const std::uint64_t room = std::min(MaximumSize, Kernel::FileSystem::GetFreeSpace(folder));
    std::uint64_t unpacked = 0;
    std::uint64_t packed = 0;
    for (const ZipArchive::Entry& entry : archive) {
        if (entry.GetSize() > room - unpacked) {
            throw Kernel::IoException(
                "the package is larger than any model, or than the free space of the disk");
        }
        if (entry.GetCompressedSize() > archiveSize - packed) {
            throw Kernel::IoException("the entries of the package overlap");
        }
        unpacked += entry.GetSize();
        packed += entry.GetCompressedSize();
    }
}

/// Whether `name` can only mean a place within the folder that it is joined to, on any system.
bool IsInnerName(std::string_view name) noexcept {
    const auto isForbidden = [](char c) {
        return c == '\\' || c == ':' || static_cast<unsigned char>(c) < ' ' || c == 0x7F;
    };
    if (name.starts_with('/') || std::ranges::any_of(name, isForbidden)) {
        return false;
    }
    while (!name.empty()) {
        const std::size_t end = std::min(name.find('/'), name.size());
        if (name.substr(0, end) == "..") {
            return false;
        }
        name.remove_prefix(std::min(end + 1, name.size()));
    }
    return true;
}

/// Whether `path` lies in `folder` when all links are followed. A link that an earlier package
/// could not have made may still be there.
bool IsWithin(const Kernel::String& path, const Kernel::String& folder) {
    const Kernel::String inner = Kernel::FileSystem::GetCanonicalPath(path);
    const Kernel::String outer = Kernel::FileSystem::GetCanonicalPath(folder);
    const std::string_view rest = inner;
    return rest.starts_with(outer) && (rest.size() == outer.size() || rest[outer.size()] == '/' ||
                                       std::string_view(outer).ends_with('/'));
}

/// The folder part of `path`, up to and with its last "/".
Kernel::String GetFolder(const Kernel::String& path) {
    const std::string_view text = path;
    return text.substr(0, text.find_last_of('/') + 1);
}

void InstallFile(const ZipArchive::Entry& entry, const Kernel::String& path) {
    const auto file = Kernel::AtomicFileOutStream::Create(path);
    entry.Open()->CopyTo(*file);
    // What an entry without data has left: a file may take the place of a folder that holds
    // nothing.
    Kernel::FileSystem::DeleteEmptyFolder(path);
    file->Commit();
}

void InstallEntry(const ZipArchive::Entry& entry, const Kernel::String& folder) {
    using Kind = ZipArchive::Entry::Kind;
    if (!IsInnerName(entry.GetName())) {
        throw Kernel::IoException("its name leads out of the folder");
    }
    if (entry.GetKind() == Kind::SymbolicLink || entry.GetKind() == Kind::Special) {
        throw Kernel::IoException("it is a link or a device");
    }
    const Kernel::String path = folder + entry.GetName();
    if (!IsWithin(GetFolder(path), folder)) {
        throw Kernel::IoException("a link leads out of the folder");
    }
    if (entry.GetSize() > 0) {
        InstallFile(entry, path);
    } else if (!Kernel::FileSystem::CreateDirectoryRecursive(path)) {
        throw Kernel::IoException("the folder can't be created");
    }
}

}  // namespace

void InstallPackage(const Kernel::String& packagePath, const Kernel::String& folder) {
    const Kernel::String place = folder.empty() ? "./" : folder;  // one that can be looked up
    const auto file = Kernel::FastFileInStream::Open(packagePath, ReadBufferSize);
    const auto archive = Kernel::MakeCounted<ZipArchive>(file);
    CheckSizes(*archive, file->GetSize(), place);
    for (const ZipArchive::Entry& entry : *archive) {
        try {
            InstallEntry(entry, place);
        } catch (const std::exception& error) {  // this entry is skipped, the next may be good
            Kernel::Log::Write("The entry %1 of a model package is skipped: %2\n",
                               Kernel::MakePrintable(entry.GetName()), error.what());
        }
    }
}

}  // namespace Learning
