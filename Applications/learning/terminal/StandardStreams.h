// Where the standard streams lead.

#pragma once

namespace LearningApp {

// Whether a stream is a terminal: a person is there, who types and reads.
bool IsInputTerminal() noexcept;
bool IsOutputTerminal() noexcept;
bool IsErrorTerminal() noexcept;

}  // namespace LearningApp
