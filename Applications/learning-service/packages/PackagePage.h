// The page that lists what is served, for browsers.

#pragma once

#include "packages/PackageFolder.h"

#include <string>
#include <vector>

namespace Service {

/// What else a service answers at.
struct OtherPath {
    std::string path;
    std::string purpose;
};

/// An HTML page with a link to each entry, by its name relative to the page, and its size, and with
/// `others`.
std::string FormatPackagePage(const std::vector<PackageFolder::Entry>& entries,
                              const std::vector<OtherPath>& others);

}  // namespace Service
