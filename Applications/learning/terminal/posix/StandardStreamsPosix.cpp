#include "terminal/StandardStreams.h"

#include <unistd.h>

namespace LearningApp {

bool IsInputTerminal() noexcept {
    return isatty(STDIN_FILENO) != 0;
}

bool IsOutputTerminal() noexcept {
    return isatty(STDOUT_FILENO) != 0;
}

bool IsErrorTerminal() noexcept {
    return isatty(STDERR_FILENO) != 0;
}

void PrepareStreams() noexcept {}

void RestoreTerminals() noexcept {}

}  // namespace LearningApp
