// The type of JSON values, for headers: hold one by std::unique_ptr. Kernel/Json.h defines it.

#pragma once

#include "Kernel/String.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <map>
#include <vector>

namespace Kernel::Json {

using String = Kernel::String;

/// A JSON value. Objects are ordered by key, and integers are 64 bits wide.
using Value =
    nlohmann::basic_json<std::map, std::vector, String, bool, std::int64_t, std::uint64_t, double>;

}  // namespace Kernel::Json
