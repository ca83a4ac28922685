// Base64 text (RFC 4648) written as a stream.

#pragma once

#include "Kernel/Streams.h"

#include <array>
#include <vector>

namespace Kernel {

/// Writes what it takes to `target` as base64: the standard alphabet, padded, without line breaks.
/// The text does not depend on how the bytes were cut into writes.
///
/// The text is handed on in large pieces and in the end by FlushBase64(); what was never flushed is
/// lost with this stream.
class KERNEL_API Base64OutStream : public OutStream {
public:
    explicit Base64OutStream(Counted<OutStream> target);
    ~Base64OutStream() override;

    void Write(std::span<const std::byte> bytes) override;

    /// Hands on the text of all whole groups of three bytes, and flushes the target. The one or two
    /// bytes after them wait for the rest of their group.
    void Flush() override;

    /// Ends the text: hands it on up to its padding. What is written next begins another text.
    void FlushBase64();

private:
    std::span<const std::byte> CompleteGroup(std::span<const std::byte> bytes);
    void EncodeGroups(std::span<const std::byte> groups);
    void WriteText();

    Counted<OutStream> m_target;
    std::array<std::byte, 3> m_group;  // the first m_groupFill bytes of an incomplete group
    std::size_t m_groupFill = 0;
    std::vector<char> m_text;  // a buffer, of which m_textFill characters are to be written
    std::size_t m_textFill = 0;
};

}  // namespace Kernel
