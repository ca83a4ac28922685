// Receivers of the body of a response.

#pragma once

#include "Kernel/Counted.h"
#include "Kernel/Streams.h"
#include "Network/Export.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace Network {

/// Receives a response's body as it arrives, on the thread of the transfer. An exception ends the
/// transfer as a failure.
class NETWORK_API DataSink : public Kernel::Countable {
public:
    virtual void Write(std::span<const std::byte> bytes) = 0;
    /// Called once, after the last byte and before the completion handler.
    virtual void Flush() {}
};

/// Writes to a stream.
class NETWORK_API StreamDataSink : public DataSink {
public:
    /// Writes to `stream`. A body of more than `maximumSize` bytes ends the transfer as a failure
    /// before more than that is written.
    StreamDataSink(Kernel::Counted<Kernel::OutStream> stream, std::uint64_t maximumSize) noexcept;
    /// The same with a limit of 16 GiB, more than any model or picture has.
    explicit StreamDataSink(Kernel::Counted<Kernel::OutStream> stream) noexcept;
    ~StreamDataSink() override;

    void Write(std::span<const std::byte> bytes) override;
    void Flush() override;

private:
    Kernel::Counted<Kernel::OutStream> m_stream;
    std::uint64_t m_bytesLeft;
};

}  // namespace Network
