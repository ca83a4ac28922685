// Finds the operation that a request is for.

#pragma once

#include "operations/Operation.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Service {

/// Operations by the start of their paths. Threads: any may route once all is mounted.
class Router {
public:
    /// `path` starts with "/". One that ends with "/" stands for all paths below it, too, any other
    /// for itself alone.
    void Mount(std::string path, std::unique_ptr<Operation> operation);

    /// Asks the operation with the longest path that fits; of two, the first that was mounted. 400
    /// for a target that is not well formed, 404 if nothing fits.
    Response Route(const Server::Request& request) const;

    /// That of the operation which the request with this head is for; 0 if there is none.
    std::size_t GetBodyLimit(const Server::Request& head) const;

private:
    struct Entry {
        std::string path;
        std::unique_ptr<Operation> operation;
    };
    const Entry* Find(const std::string& path) const;

    std::vector<Entry> m_entries;
};

}  // namespace Service
