// Changes to the environment of the test's process.

#pragma once

#include <optional>
#include <string>

namespace Support {

/// Sets the environment variable `name`, or removes it.
void SetEnvironment(const std::string& name, const std::optional<std::string>& value);

}  // namespace Support
