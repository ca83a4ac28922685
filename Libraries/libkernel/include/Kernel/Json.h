// JSON (RFC 8259): values, their text, and values from texts. Takes long to compile: for sources.

#pragma once

#include "Kernel/Export.h"
#include "Kernel/JsonFwd.h"
#include "Kernel/Streams.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string_view>

namespace Kernel::Json {

/// The text of `value` in its shortest form: without white space, in UTF-8, of ASCII only control
/// characters, quotation marks and backslashes escaped. Each ill-formed sequence in a string
/// becomes U+FFFD, as by ReplaceInvalidUtf8(). A floating-point number has a point or an exponent
/// and parses to the same number; infinity and NaN become null.
KERNEL_API String ToString(const Value& value);

/// Writes the text of ToString() to `stream`, some kilobytes at a time.
KERNEL_API void Write(OutStream& stream, const Value& value);

/// The nesting of arrays and objects that a document may have unless its reader says otherwise; the
/// root is level 1. Copying and writing a value take stack for each level.
constexpr int DefaultDepth = 512;

/// The value of a document; nothing if it is not well-formed from its first byte to its last, nests
/// deeper than `maximumDepth` or has a number that no double holds, such as 1e999. A byte order
/// mark before it is skipped, and of members with the same name the last one counts. A value can
/// take tens of times the memory of its text, whose size is the caller's to limit.
KERNEL_API std::optional<Value> Parse(std::string_view text, int maximumDepth = DefaultDepth);
/// The same for the rest of a stream, which need not be read to its end if there is no value.
/// Throws what the stream throws.
KERNEL_API std::optional<Value> Parse(InStream& stream, int maximumDepth = DefaultDepth);

}  // namespace Kernel::Json
