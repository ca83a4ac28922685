// The Range header of HTTP (RFC 9110, 14).

#pragma once

#include <cstdint>
#include <string_view>

namespace Service {

/// The bytes that a request asks for.
struct ByteRange {
    enum class Kind {
        Whole,    // the header is ignored: not well-formed, or of another unit
        Part,     // `count` bytes from `start`
        Outside,  // beyond the end
    };
    Kind kind = Kind::Whole;
    std::uint64_t start = 0;
    std::uint64_t count = 0;
};

/// What `header` asks for of `size` bytes. Several ranges at once count as none.
ByteRange ParseByteRange(std::string_view header, std::uint64_t size);

}  // namespace Service
