// Base64 text (RFC 4648) written as a stream.

#pragma once

#include "Kernel/Streams.h"

#include <array>
#include <vector>

namespace Kernel {

/// Encodes the bytes that are written as base64 and writes the text to `target`: the standard
/// alphabet, padded, without line breaks. The text does not depend on how the bytes were divided
/// among calls of Write().
///
/// The text is buffered. FlushBase64() writes the end of it; what is not flushed before this stream
/// is destroyed is lost.
class KERNEL_API Base64OutStream : public OutStream {
public:
    explicit Base64OutStream(Counted<OutStream> target);
    ~Base64OutStream() override;

    void Write(std::span<const std::byte> bytes) override;

    /// Writes the text of all complete groups of three bytes and flushes the target. One or two
    /// bytes after them stay buffered until their group is complete.
    void Flush() override;

    /// Ends the text: writes what is buffered, with its padding. Bytes that are written after this
    /// begin another base64 text.
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
