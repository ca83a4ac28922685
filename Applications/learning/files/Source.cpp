#include "files/Source.h"

#include "Kernel/FileStreams.h"

#include "failures/Failure.h"
#include "files/Paths.h"
#include "files/PictureKinds.h"
#include "files/Pipes.h"

#include <algorithm>
#include <utility>

namespace LearningApp {

Kernel::Counted<Source> Source::Open(const std::string& path) {
    if (IsPipe(path)) {
        return Kernel::MakeCounted<Source>(
            OpenPipe(path), IsStandardStream(path) ? "the standard input" : path, std::nullopt);
    }
    if (IsFolder(path)) {
        throw Failure("cannot read %1: it is a folder", path);
    }
    const auto file = Kernel::FileInStream::Open(path);
    return Kernel::MakeCounted<Source>(file, path, file->GetSize());
}

Source::Source(Kernel::Counted<Kernel::InStream> stream, std::string name,
               std::optional<std::uint64_t> size)
    : m_stream(std::move(stream)), m_name(std::move(name)), m_size(size), m_start(KindSize, '\0') {
    m_start.resize(m_stream->ReadFully(std::as_writable_bytes(std::span(m_start))));
}

std::size_t Source::Read(std::span<std::byte> buffer) {
    if (m_next == m_start.size()) {
        return m_stream->Read(buffer);
    }
    const auto rest = std::as_bytes(std::span(m_start)).subspan(m_next);
    const std::size_t count = std::min(buffer.size(), rest.size());
    std::copy_n(rest.begin(), count, buffer.begin());
    m_next += count;
    return count;
}

}  // namespace LearningApp
