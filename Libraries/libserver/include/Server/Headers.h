// The header fields of an HTTP message.

#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Server {

/// Names and values, in their order on the wire.
using Headers = std::vector<std::pair<std::string, std::string>>;

/// Whether `a` and `b` are the same but for the case of their ASCII letters.
bool EqualsIgnoringCase(std::string_view a, std::string_view b) noexcept;

/// The value of the first field `name`, in any case; null if there is none.
const std::string* FindHeader(const Headers& headers, std::string_view name) noexcept;

}  // namespace Server
