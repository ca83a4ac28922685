#include "files/TextFile.h"

#include "Kernel/FileStreams.h"
#include "Kernel/IoException.h"

#include <span>

namespace Service {

std::string ReadTextFile(const std::string& path, std::size_t maxSize) {
    const auto file = Kernel::FileInStream::Open(path);
    const std::uint64_t size = file->GetSize();
    if (size > maxSize) {
        throw Kernel::IoException(path + " has more than " + std::to_string(maxSize) + " bytes");
    }
    std::string text(static_cast<std::size_t>(size), '\0');
    std::size_t count = 0;
    while (count < text.size()) {
        const std::size_t got = file->Read(std::as_writable_bytes(std::span(text).subspan(count)));
        if (got == 0) {  // it has become shorter
            break;
        }
        count += got;
    }
    text.resize(count);
    return text;
}

}  // namespace Service
