#include "Server/FileDescriptor.h"

#include "packages/PackageFolder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <system_error>
#include <utility>

namespace Service {

namespace {

constexpr int ReadOnly = O_RDONLY | O_CLOEXEC;

bool IsPlainName(const std::string& name) {
    return !name.empty() && name.front() != '.' && name.find('/') == std::string::npos;
}

bool IsControl(char c) {
    return (c >= 0 && c < 0x20) || c == 0x7F;
}

struct DirectoryCloser {
    void operator()(DIR* folder) const noexcept { closedir(folder); }
};
using DirectoryPointer = std::unique_ptr<DIR, DirectoryCloser>;

/// As exact as the file system's clock.
std::string MakeTag(const struct stat& status) {
    std::array<char, 80> tag;
    std::snprintf(tag.data(), tag.size(), "\"%" PRIxMAX "-%" PRIxMAX "-%" PRIxMAX ".%lx\"",
                  static_cast<std::uintmax_t>(status.st_ino),
                  static_cast<std::uintmax_t>(status.st_size),
                  static_cast<std::uintmax_t>(status.st_mtim.tv_sec), status.st_mtim.tv_nsec);
    return tag.data();
}

}  // namespace

struct PackageFolder::State {
    Server::FileDescriptor folder;
};

PackageFolder::PackageFolder(const std::string& path)
    : m_state(std::make_unique<State>(
          State{Server::FileDescriptor(open(path.c_str(), ReadOnly | O_DIRECTORY))})) {
    if (!m_state->folder.IsOpen()) {
        throw std::system_error(errno, std::generic_category(),
                                "cannot open the folder of the packages, " + path);
    }
}

PackageFolder::~PackageFolder() = default;

std::optional<PackageFolder::Package> PackageFolder::Open(const std::string& name) const {
    if (!IsPlainName(name)) {
        return {};
    }
    // A pipe that is opened without O_NONBLOCK waits for a writer.
    Server::FileDescriptor file(
        openat(m_state->folder.Get(), name.c_str(), ReadOnly | O_NOFOLLOW | O_NONBLOCK));
    struct stat status {};
    if (!file.IsOpen() && (errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == EIO)) {
        throw std::system_error(errno, std::generic_category(), "cannot open a package");
    }
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return {};
    }
    return Package{Server::Content(Server::MakeContentFile(std::move(file))), MakeTag(status)};
}

std::vector<PackageFolder::Entry> PackageFolder::List() const {
    // A descriptor of its own, which has its own place in the folder.
    const int descriptor = openat(m_state->folder.Get(), ".", ReadOnly | O_DIRECTORY);
    const DirectoryPointer folder(descriptor < 0 ? nullptr : fdopendir(descriptor));
    if (!folder) {
        throw std::system_error(errno, std::generic_category(), "cannot list the packages");
    }
    std::vector<Entry> entries;
    while (const dirent* const entry = readdir(folder.get())) {
        const std::string name = entry->d_name;
        struct stat status {};
        if (IsPlainName(name) && std::ranges::none_of(name, IsControl) &&
            fstatat(dirfd(folder.get()), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISREG(status.st_mode)) {
            entries.push_back({name, static_cast<std::uint64_t>(status.st_size)});
        }
    }
    std::ranges::sort(entries, {}, &Entry::name);
    return entries;
}

}  // namespace Service
