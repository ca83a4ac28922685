#include "Server/Content.h"

#include "Server/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace Server {

Content::Content(std::string text) : m_size(text.size()) {
    m_text = std::make_shared<const std::string>(std::move(text));
}

Content Content::OfFile(const std::string& path) {
    FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.IsOpen()) {
        throw std::system_error(errno, std::generic_category(), "cannot open " + path);
    }
    return OfFile(std::move(file));
}

Content Content::OfFile(FileDescriptor file) {
    struct stat status {};
    if (fstat(file.Get(), &status) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot look at a file");
    }
    Content content;
    content.m_file = std::make_shared<const FileDescriptor>(std::move(file));
    content.m_size = static_cast<std::uint64_t>(status.st_size);
    return content;
}

Content Content::Slice(std::uint64_t offset, std::uint64_t count) const {
    Content slice = *this;
    const std::uint64_t start = std::min(offset, m_size);
    slice.m_offset += start;
    slice.m_size = std::min(count, m_size - start);
    return slice;
}

std::size_t Content::Read(std::uint64_t offset, std::span<char> buffer) const {
    const std::uint64_t start = std::min(offset, m_size);
    const auto count =
        static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), m_size - start));
    if (count == 0) {
        return 0;
    }
    if (m_text) {
        return m_text->copy(buffer.data(), count, static_cast<std::size_t>(m_offset + start));
    }
    const ssize_t got =
        pread(m_file->Get(), buffer.data(), count, static_cast<off_t>(m_offset + start));
    if (got < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot read a file");
    }
    if (got == 0) {
        throw std::runtime_error("a file became shorter while it was sent");
    }
    return static_cast<std::size_t>(got);
}

}  // namespace Server
