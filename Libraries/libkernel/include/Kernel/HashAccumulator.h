// A fast, non-cryptographic, incremental hash.

#pragma once

#include "Kernel/Export.h"
#include "Kernel/String.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <type_traits>

namespace Kernel {

/// Integers and enumerators: no addresses, no padding, and equal values have equal bytes.
template <class T>
concept HashableValue = std::is_integral_v<T> || std::is_enum_v<T>;

/// Hashes bytes with XXH3 (64 bits, https://xxhash.com). The result depends on the bytes alone, not
/// on how they were divided among calls, and is the same on all machines of one byte order. Not
/// secure against deliberate collisions.
class KERNEL_API HashAccumulator {
public:
    HashAccumulator();
    HashAccumulator(HashAccumulator&&) noexcept;
    HashAccumulator& operator=(HashAccumulator&&) noexcept;
    ~HashAccumulator();

    void Add(std::span<const std::byte> bytes);
    /// Adds the size and the bytes, so that {"ab", "c"} and {"a", "bc"} differ.
    void Add(const String& text);

    /// Adds the bytes of `value`.
    template <HashableValue T>
    void Add(const T& value) {
        Add(std::as_bytes(std::span(&value, 1)));
    }

    /// The hash of all bytes added so far.
    std::uint64_t GetHash() const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace Kernel
