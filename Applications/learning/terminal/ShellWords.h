// Command lines that are shown for the user to copy.

#pragma once

#include <string>
#include <string_view>

namespace LearningApp {

/// `text` as one word of the system's shells, in quotation marks where it needs them. To be used
/// for what others have chosen only if CanBeQuoted().
std::string QuoteForShell(std::string_view text);

/// Whether no shell of the system takes a part of the quoted `text` for something else, such as a
/// variable or a command.
bool CanBeQuoted(std::string_view text) noexcept;

/// The command by which the owner of the file at `path` keeps others out of it.
std::string GetRestriction(std::string_view path);

}  // namespace LearningApp
