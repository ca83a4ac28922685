#include "Kernel/FileSystem.h"

#include "Kernel/Format.h"
#include "Kernel/IoException.h"

#include "files/FileHandle.h"
#include "files/RandomName.h"

namespace Kernel::FileSystem {

String GetUniqueTemporaryFilename(const String& pattern) {
    String folder = GetTemporaryFolder();
    if (!std::string_view(folder).ends_with('/')) {
        folder.push_back('/');
    }
    String path;
    for (int attempt = 0; attempt < 100; ++attempt) {
        path = folder + Format(pattern, MakeRandomName());
        if (FileHandle::CreateExclusively(path)) {
            return path;
        }
    }
    // The pattern has no "%1".
    throw IoException("create", path, std::make_error_code(std::errc::file_exists));
}

}  // namespace Kernel::FileSystem
