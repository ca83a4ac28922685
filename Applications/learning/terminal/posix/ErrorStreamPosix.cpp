#include "terminal/ErrorStream.h"

#include <unistd.h>

namespace LearningApp {

bool IsErrorStreamTerminal() noexcept {
    return isatty(STDERR_FILENO) != 0;
}

}  // namespace LearningApp
