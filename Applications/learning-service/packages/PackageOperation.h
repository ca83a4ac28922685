// Serves the model packages in a folder.

#pragma once

#include "operations/Operation.h"
#include "packages/PackageFolder.h"
#include "packages/PackagePage.h"

#include <string>
#include <vector>

namespace Service {

/// GET and HEAD of the files in a folder: whole, as a single range, or as "not modified".
///
/// The path is the plain name of a regular file, or empty for a page that lists them. Folders,
/// links, hidden files and files elsewhere are answered with 404.
class PackageOperation : public Operation {
public:
    /// The page lists `others`, too. Throws std::system_error if `folder` can't be opened.
    explicit PackageOperation(const std::string& folder, std::vector<OtherPath> others = {})
        : m_folder(folder), m_others(std::move(others)) {}

    Response Handle(const Server::Request& request, const std::string& path) const override;

private:
    PackageFolder m_folder;
    std::vector<OtherPath> m_others;
};

}  // namespace Service
