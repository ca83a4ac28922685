// The model packages in a folder.

#pragma once

#include "Server/Content.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Service {

/// Opens files of one folder, and only of it. Threads: any number may open files at the same time.
class PackageFolder {
public:
    struct Package {
        Server::Content content;
        std::string tag;  // as the header ETag has it: changes when the file is written or replaced
    };

    struct Entry {
        std::string name;
        std::uint64_t size;
    };

    /// Throws std::system_error if `path` can't be opened.
    explicit PackageFolder(const std::string& path);
    PackageFolder(const PackageFolder&) = delete;
    PackageFolder& operator=(const PackageFolder&) = delete;
    ~PackageFolder();

    /// The regular file of that plain name; nothing if there is none, or for folders, links, hidden
    /// files and paths. Throws std::system_error if the file system fails or too many are open.
    std::optional<Package> Open(const std::string& name) const;

    /// What Open() would open, by name; without names that hold control characters, which no
    /// request can ask for. Throws std::system_error if the folder can't be read.
    std::vector<Entry> List() const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace Service
