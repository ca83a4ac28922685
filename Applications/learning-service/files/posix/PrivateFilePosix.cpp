#include "Server/FileDescriptor.h"

#include "files/PrivateFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace Service {

namespace {

[[noreturn]] void ThrowFileError(const char* action, const std::string& path) {
    throw std::system_error(errno, std::generic_category(), action + path);
}

/// Throws unless it is a regular file of one owner. `file`: its descriptor.
struct stat CheckPrivate(int file, const std::string& path) {
    struct stat status {};
    if (fstat(file, &status) != 0) {
        ThrowFileError("cannot look at ", path);
    }
    if (!S_ISREG(status.st_mode)) {
        throw std::runtime_error(path + " is no regular file");
    }
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        throw std::runtime_error("others may read or write " + path + ": chmod 600 it first");
    }
    return status;
}

Server::FileDescriptor OpenPrivate(const std::string& path) {
    // A pipe waits for no writer.
    Server::FileDescriptor file(open(
        path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK, S_IRUSR | S_IWUSR));
    if (!file.IsOpen()) {
        ThrowFileError("cannot write ", path);
    }
    return file;
}

}  // namespace

std::string ReadPrivateFile(const std::string& path, std::size_t maxSize) {
    Server::FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.IsOpen()) {
        ThrowFileError("cannot read ", path);
    }
    CheckPrivate(file.Get(), path);
    const Server::Content content(Server::MakeContentFile(std::move(file)));
    if (content.GetSize() > maxSize) {
        throw std::runtime_error(path + " has more than " + std::to_string(maxSize) + " bytes");
    }
    std::string text(static_cast<std::size_t>(content.GetSize()), '\0');
    text.resize(content.Read(0, text));
    return text;
}

PrivateLog::PrivateLog(std::string path) : m_path(std::move(path)) {
    CheckPrivate(OpenPrivate(m_path).Get(), m_path);
}

void PrivateLog::Append(std::string_view line, std::size_t maxSize) const {
    const Server::FileDescriptor file = OpenPrivate(m_path);
    const struct stat status = CheckPrivate(file.Get(), m_path);
    if (static_cast<std::size_t>(status.st_size) + line.size() + 2 > maxSize) {
        throw std::runtime_error(m_path + " is full");
    }
    char last = '\n';
    if (status.st_size > 0 && pread(file.Get(), &last, 1, status.st_size - 1) != 1) {
        ThrowFileError("cannot read ", m_path);
    }
    const std::string text = std::string(last == '\n' ? "" : "\n") + std::string(line) + '\n';
    errno = ENOSPC;  // for what is written in part
    if (write(file.Get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        ThrowFileError("cannot write ", m_path);
    }
}

}  // namespace Service
