#include "Server/FileDescriptor.h"

#include "packages/PackageFolder.h"

#include <fcntl.h>
#include <sys/stat.h>

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
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return {};
    }
    return Package{Server::Content(Server::MakeContentFile(std::move(file))), MakeTag(status)};
}

}  // namespace Service
