// Command lines that are shown for the user to copy.

#pragma once

#include <string>
#include <string_view>

namespace LearningApp {

/// `text` as one word of a shell, in quotation marks where it needs them.
std::string QuoteForShell(std::string_view text);

}  // namespace LearningApp
