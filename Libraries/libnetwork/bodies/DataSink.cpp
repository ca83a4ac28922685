#include "Network/DataSink.h"

#include "Kernel/IoException.h"

#include <utility>

namespace Network {

namespace {

constexpr std::uint64_t DefaultMaximumSize = std::uint64_t{16} << 30;

}  // namespace

StreamDataSink::StreamDataSink(Kernel::Counted<Kernel::OutStream> stream,
                               std::uint64_t maximumSize) noexcept
    : m_stream(std::move(stream)), m_bytesLeft(maximumSize) {}

StreamDataSink::StreamDataSink(Kernel::Counted<Kernel::OutStream> stream) noexcept
    : StreamDataSink(std::move(stream), DefaultMaximumSize) {}

StreamDataSink::~StreamDataSink() = default;

void StreamDataSink::Write(std::span<const std::byte> bytes) {
    if (bytes.size() > m_bytesLeft) {
        throw Kernel::IoException("the response is larger than is allowed");
    }
    m_stream->Write(bytes);
    m_bytesLeft -= bytes.size();
}

void StreamDataSink::Flush() {
    m_stream->Flush();
}

}  // namespace Network
