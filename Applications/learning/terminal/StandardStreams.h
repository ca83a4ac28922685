// Where the standard streams lead.

#pragma once

namespace LearningApp {

// Whether a stream is a terminal: a person is there, who types and reads.
bool IsInputTerminal() noexcept;
bool IsOutputTerminal() noexcept;
bool IsErrorTerminal() noexcept;

/// To be called before anything is read or written: lets the standard streams carry any bytes, and
/// terminals show UTF-8 and what StatusLine draws.
void PrepareStreams() noexcept;

/// Makes terminals again what they were before PrepareStreams(), since they outlive the process. To
/// be called at the end, by one thread.
void RestoreTerminals() noexcept;

}  // namespace LearningApp
