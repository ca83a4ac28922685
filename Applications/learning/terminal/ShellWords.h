// Command lines that are shown for the user to copy.

#pragma once

#include <string>
#include <string_view>

namespace LearningApp {

/// `text` as one word of the system's shells, in quotation marks where it needs them.
std::string QuoteForShell(std::string_view text);

/// The command by which the owner of the file at `path` keeps others out of it.
std::string GetRestriction(std::string_view path);

}  // namespace LearningApp
