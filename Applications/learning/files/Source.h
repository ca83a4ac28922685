// What photos and arrays are read from.

#pragma once

#include "Kernel/Streams.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace LearningApp {

/// A file, a pipe, a device, or the standard input, whose first bytes are known before they are
/// read: they tell what it holds.
class Source final : public Kernel::InStream {
public:
    /// Opens `path`; "-" is the standard input. Throws Kernel::IoException, Failure for a
    /// folder, or WrongUse if the standard input is a terminal.
    static Kernel::Counted<Source> Open(const std::string& path);

    /// The path, or what the standard input is called in messages.
    const std::string& GetName() const noexcept { return m_name; }
    /// The first bytes, however much of them has been read: fewer than KindSize if that is all.
    std::string_view GetStart() const noexcept { return m_start; }
    /// The number of bytes, if that is known.
    std::optional<std::uint64_t> GetSize() const noexcept { return m_size; }

    std::size_t Read(std::span<std::byte> buffer) override;

    Source(Kernel::Counted<Kernel::InStream> stream, std::string name,
           std::optional<std::uint64_t> size);

private:
    const Kernel::Counted<Kernel::InStream> m_stream;
    const std::string m_name;
    const std::optional<std::uint64_t> m_size;
    std::string m_start;
    std::size_t m_next = 0;  // of m_start
};

}  // namespace LearningApp
