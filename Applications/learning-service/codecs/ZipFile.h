// Writing of ZIP archives.

#pragma once

#include <string>
#include <utility>
#include <vector>

namespace Service {

/// An archive of files, by name and content, which are stored as they are: pictures are compressed
/// already. The same files give the same bytes. Not for 4 GiB or more.
std::string MakeZipFile(const std::vector<std::pair<std::string, std::string>>& files);

}  // namespace Service
