#include "Server/Content.h"
#include "Server/FileDescriptor.h"

#include "content/posix/SystemError.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <utility>

namespace Server {

namespace {

class DescriptorFile : public ContentFile {
public:
    explicit DescriptorFile(FileDescriptor file) : m_file(std::move(file)) {
        struct stat status {};
        if (fstat(m_file.Get(), &status) != 0) {
            ThrowSystemError("cannot look at a file");
        }
        m_size = static_cast<std::uint64_t>(status.st_size);
    }

    std::uint64_t GetSize() const noexcept override { return m_size; }

    std::size_t Read(std::uint64_t offset, std::span<char> buffer) const override {
        const ssize_t got =
            pread(m_file.Get(), buffer.data(), buffer.size(), static_cast<off_t>(offset));
        if (got < 0) {
            ThrowSystemError("cannot read a file");
        }
        return static_cast<std::size_t>(got);
    }

private:
    FileDescriptor m_file;
    std::uint64_t m_size = 0;
};

}  // namespace

std::shared_ptr<const ContentFile> MakeContentFile(FileDescriptor file) {
    return std::make_shared<const DescriptorFile>(std::move(file));
}

Content Content::OfFile(const std::string& path) {
    FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.IsOpen()) {
        ThrowSystemError("cannot open " + path);
    }
    return Content(MakeContentFile(std::move(file)));
}

}  // namespace Server
