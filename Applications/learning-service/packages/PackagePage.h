// The page that lists the packages, for browsers.

#pragma once

#include "packages/PackageFolder.h"

#include <string>
#include <vector>

namespace Service {

/// An HTML page with a link to each entry, by its name relative to the page, and its size.
std::string FormatPackagePage(const std::vector<PackageFolder::Entry>& entries);

}  // namespace Service
