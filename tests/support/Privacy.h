// What tests of privacy ask of the system.

#pragma once

#include <string>

namespace Support {

/// The name of this machine in its network.
std::string GetMachineName();

/// Lets everybody read the file at `path`.
void LetOthersRead(const std::string& path);

}  // namespace Support
