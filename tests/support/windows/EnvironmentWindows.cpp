#include "support/Environment.h"
#include "support/TestFolder.h"

#include <windows.h>

namespace Support {

void SetEnvironment(const std::string& name, const std::optional<std::string>& value) {
    SetEnvironmentVariableW(ToPath(name).c_str(), value ? ToPath(*value).c_str() : nullptr);
}

}  // namespace Support
