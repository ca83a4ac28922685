// What the system makes of names of files.

#pragma once

#include <string>

namespace LearningApp {

/// Whether `path` means a device, such as a terminal, or a pipe, links followed.
bool IsDevice(const std::string& path);

/// Why the last name of `path` can't be that of a file, if the system would say so only once it is
/// written; empty if nothing is known.
std::string FindNameFault(const std::string& path);

/// A text that all names of one file have in common, as far as upper and lower case matter.
std::string FoldCase(const std::string& path);

}  // namespace LearningApp
