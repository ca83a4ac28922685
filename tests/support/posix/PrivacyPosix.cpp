#include "support/Privacy.h"

#include <sys/stat.h>
#include <unistd.h>

namespace Support {

std::string GetMachineName() {
    std::string name(256, '\0');
    gethostname(name.data(), name.size());
    return name.c_str();
}

void LetOthersRead(const std::string& path) {
    chmod(path.c_str(), 0644);
}

}  // namespace Support
