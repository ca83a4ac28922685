// Where the standard error stream leads.

#pragma once

namespace LearningApp {

/// Whether the standard error stream is a terminal, which can show a line that changes.
bool IsErrorStreamTerminal() noexcept;

}  // namespace LearningApp
