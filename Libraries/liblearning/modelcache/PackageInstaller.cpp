#include "modelcache/PackageInstaller.h"

#include "Kernel/AtomicFileOutStream.h"
#include "Kernel/Diagnostics.h"
#include "Kernel/FileStreams.h"
#include "Kernel/FileSystem.h"
#include "Kernel/IoException.h"
#include "Kernel/Utf.h"
#include "Kernel/ZipArchive.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace Learning {

namespace {

using Kernel::ZipArchive;

constexpr std::size_t ReadBufferSize = 1'048'576;
// Of entries and of the folders in their names: what is made can be taken back in a moment.
constexpr std::ptrdiff_t MaximumPartCount = 2'000;
// For one entry and for all together. The largest network that a photograph editor may want has
// less.
constexpr std::uint64_t MaximumSize = std::uint64_t{8} << 30;

void CheckParts(const ZipArchive& archive) {
    std::ptrdiff_t parts = 0;
    for (const ZipArchive::Entry& entry : archive) {
        parts += 1 + std::ranges::count(std::string_view(entry.GetName()), '/');
    }
    if (parts > MaximumPartCount) {
        throw Kernel::IoException("the package has too many entries");
    }
}

/// Throws unless the archive declares sizes that are possible and bearable.
void CheckSizes(const ZipArchive& archive, std::uint64_t archiveSize,
                const Kernel::String& folder) {
    const std::uint64_t room = Kernel::FileSystem::GetFreeBytes(folder);
    std::uint64_t unpacked = 0;
    std::uint64_t packed = 0;
    for (const ZipArchive::Entry& entry : archive) {
        if (entry.GetSize() > MaximumSize - unpacked) {
            throw Kernel::IoException("the package is larger than any model");
        }
        if (entry.GetSize() > room - std::min(room, unpacked)) {
            throw Kernel::IoException("unpack a model package into", folder,
                                      std::make_error_code(std::errc::no_space_on_device));
        }
        if (entry.GetCompressedSize() > archiveSize - packed) {
            throw Kernel::IoException("the entries of the package overlap");
        }
        unpacked += entry.GetSize();
        packed += entry.GetCompressedSize();
    }
}

/// Whether the system leaves out the end of `part` of a path and takes it for another: so ".. "
/// would be the folder above.
bool IsShortened(std::string_view part) noexcept {
    constexpr bool LeavesOutEnds = std::filesystem::path::preferred_separator != '/';  // Windows
    return LeavesOutEnds && part != "." && (part.ends_with('.') || part.ends_with(' '));
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
        if (name.substr(0, end) == ".." || IsShortened(name.substr(0, end))) {
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

/// The end of the part of `path` that begins at `start`: its next "/", or its own end.
std::size_t FindPartEnd(std::string_view path, std::size_t start) noexcept {
    return std::min(path.find('/', start), path.size());
}

/// An installation that is prepared entry by entry. Unless it is committed, it leaves nothing.
class Installation {
public:
    /// Into `folder`, which ends in "/".
    explicit Installation(Kernel::String folder) : m_folder(std::move(folder)) {}
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;
    ~Installation();

    /// Writes the file that `entry` is beside its place, or creates the folder.
    void Prepare(const ZipArchive::Entry& entry);
    /// Renames the files to their places; skips those that can't be.
    void Commit();
    /// Takes note of an entry that can't be created.
    void Skip(const Kernel::String& name, const std::exception& error);

    InstalledPackage TakeResult() { return std::move(m_result); }

private:
    struct File {
        Kernel::Counted<Kernel::AtomicFileOutStream> stream;
        Kernel::String name;
    };
    struct NewFolders {
        Kernel::String path;   // of the inner one
        std::size_t outerEnd;  // the size of the outer one's path
    };

    void PrepareFile(const ZipArchive::Entry& entry);
    void CreateFolder(const Kernel::String& path);
    static void DeleteFolders(const NewFolders& folders) noexcept;
    void CommitFile(const File& file) const;

    const Kernel::String m_folder;
    std::vector<File> m_files;
    std::vector<NewFolders> m_newFolders;
    InstalledPackage m_result;
};

/// Whether an entry called `entry` is unpacked to where one called `name` would be.
bool IsSamePlace(const Kernel::String& entry, const Kernel::String& name) {
    return std::filesystem::path(entry.c_str()).lexically_normal() == name.c_str();
}

Installation::~Installation() {
    m_files.clear();
    std::for_each(m_newFolders.rbegin(), m_newFolders.rend(), DeleteFolders);
}

void Installation::Prepare(const ZipArchive::Entry& entry) {
    using Kind = ZipArchive::Entry::Kind;
    if (!IsInnerName(entry.GetName())) {
        throw Kernel::IoException("its name leads out of the folder");
    }
    if (std::ranges::count(std::string_view(entry.GetName()), '/') > MaximumFolderDepth) {
        throw Kernel::IoException("it lies too deep");
    }
    if (entry.GetKind() == Kind::SymbolicLink || entry.GetKind() == Kind::Special) {
        throw Kernel::IoException("it is a link or a device");
    }
    const Kernel::String path = m_folder + entry.GetName();
    if (!IsWithin(GetFolder(path), m_folder)) {
        throw Kernel::IoException("a link leads out of the folder");
    }
    entry.GetSize() > 0 ? PrepareFile(entry) : CreateFolder(path);
}

void Installation::PrepareFile(const ZipArchive::Entry& entry) {
    auto stream = Kernel::AtomicFileOutStream::Create(m_folder + entry.GetName());
    entry.Open()->CopyTo(*stream);
    stream->Close();
    m_files.push_back({std::move(stream), entry.GetName()});
}

void Installation::CreateFolder(const Kernel::String& path) {
    const std::string_view text = path;
    const auto isThere = [text](std::size_t end) {
        return Kernel::FileSystem::Exists(text.substr(0, end));
    };
    std::size_t end = FindPartEnd(text, m_folder.size());
    while (end < text.size() && isThere(end)) {
        end = FindPartEnd(text, end + 1);
    }
    if (!isThere(end)) {
        m_newFolders.push_back({path, end});
    }
    if (!Kernel::FileSystem::CreateDirectoryRecursive(path)) {
        throw Kernel::IoException("the folder can't be created");
    }
}

void Installation::DeleteFolders(const NewFolders& folders) noexcept {
    const std::string_view path = folders.path;
    for (std::size_t end = path.size(); end >= folders.outerEnd; end = path.rfind('/', end - 1)) {
        Kernel::FileSystem::DeleteEmptyFolder(path.substr(0, end));
    }
}

void Installation::Commit() {
    m_newFolders.clear();
    for (const File& file : m_files) {
        try {
            CommitFile(file);
            m_result.files.push_back(file.name);
        } catch (const std::exception& error) {  // the next may be good
            Skip(file.name, error);
        }
    }
}

void Installation::Skip(const Kernel::String& name, const std::exception& error) {
    Kernel::Log::Write("The entry %1 of a model package is skipped: %2\n",
                       Kernel::MakePrintable(name), error.what());
    const auto* const failure = dynamic_cast<const Kernel::IoException*>(&error);
    const std::error_code code = failure != nullptr
                                     ? failure->GetCode()
                                     : std::make_error_code(std::errc::not_enough_memory);
    m_result.skipped.push_back({name, error.what(), code});
}

void Installation::CommitFile(const File& file) const {
    // What an entry without data has left: a file may take the place of a folder that holds
    // nothing.
    Kernel::FileSystem::DeleteEmptyFolder(m_folder + file.name);
    file.stream->Commit();
}

}  // namespace

bool InstalledPackage::HasFile(const Kernel::String& name) const {
    return std::ranges::any_of(files,
                               [&](const Kernel::String& file) { return IsSamePlace(file, name); });
}

const SkippedEntry* InstalledPackage::FindSkipped(const Kernel::String& name) const {
    const auto found = std::ranges::find_if(
        skipped, [&](const SkippedEntry& entry) { return IsSamePlace(entry.name, name); });
    return found != skipped.end() ? &*found : nullptr;
}

InstalledPackage InstallPackage(const Kernel::String& packagePath, const Kernel::String& folder,
                                Kernel::AbortFlag abort) {
    const Kernel::String place = folder.empty() ? "./" : folder;  // one that can be looked up
    const auto file = Kernel::FastFileInStream::Open(packagePath, ReadBufferSize);
    const auto archive = Kernel::MakeCounted<ZipArchive>(file, abort);
    CheckParts(*archive);
    CheckSizes(*archive, file->GetSize(), place);
    Installation installation(place);
    for (const ZipArchive::Entry& entry : *archive) {
        Kernel::ThrowIfAborted(abort);
        try {
            installation.Prepare(entry);
        } catch (const Kernel::Aborted&) {
            throw;
        } catch (const std::exception& error) {  // the next may be good
            installation.Skip(entry.GetName(), error);
        }
    }
    Kernel::ThrowIfAborted(abort);
    installation.Commit();
    return installation.TakeResult();
}

}  // namespace Learning
