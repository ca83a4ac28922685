// Base64 text (RFC 4648) written as a stream.

#pragma once

#include "Kernel/Streams.h"

#include <array>

namespace Kernel {

/// Writes what it takes to `target` as base64: the standard alphabet, padded, without line breaks.
/// The text does not depend on how the bytes were cut into writes.
///
/// The text is handed on in large pieces and in the end by FlushBase64(); what was never flushed is
/// lost with this stream.
class KERNEL_API Base64OutStream : public OutStream {
public:
    explicit Base64OutStream(Counted<OutStream> target) noexcept;
    ~Base64OutStream() override;

    void Write(std::span<const std::byte> bytes) override;

    /// Hands on the text of all whole groups of three bytes, and flushes the target. The one or two
    /// bytes after them wait for the rest of their group.
    void Flush() override;

    /// Ends the text: hands it on up to its padding. What is written next begins another text.
    void FlushBase64();

private:
    static constexpr std::size_t GroupSize = 3;  // bytes, of which each group makes...
    static constexpr std::size_t TextSize = 4;   // ...as many characters

    std::span<const std::byte> CompleteGroup(std::span<const std::byte> bytes);
    void EncodeGroups(std::span<const std::byte> groups);
    void HandOn();

    Counted<OutStream> m_target;
    std::array<std::byte, GroupSize> m_group;  // the first m_groupFill bytes of the group begun
    std::size_t m_groupFill = 0;
    std::size_t m_textFill = 0;
    std::array<char, 4096 * TextSize> m_text;
};

}  // namespace Kernel
