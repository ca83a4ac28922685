#include "Kernel/Streams.h"

#include <vector>

namespace Kernel {

namespace {

// Large enough to make the cost of a system call negligible beside that of copying.
constexpr std::size_t CopyBufferSize = 262'144;

}  // namespace

std::size_t InStream::ReadFully(std::span<std::byte> buffer) {
    std::size_t done = 0;
    while (done < buffer.size()) {
        const std::size_t count = Read(buffer.subspan(done));
        if (count == 0) {
            break;
        }
        done += count;
    }
    return done;
}

std::uint64_t InStream::CopyTo(OutStream& target) {
    std::vector<std::byte> buffer(CopyBufferSize);
    std::uint64_t copied = 0;
    while (const std::size_t count = Read(buffer)) {
        target.Write(std::span(buffer).first(count));
        copied += count;
    }
    return copied;
}

}  // namespace Kernel
