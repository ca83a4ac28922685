#include "terminal/windows/ConsoleEvents.h"
#include "tests/InterruptSelf.h"

#include <future>

namespace LearningApp::Testing {

void ListenToEndings() {}

// As the system does it, on a thread of its own, but without a console: an event of one would reach
// every process that shares it.
void InterruptSelf(Support::Ending ending) {
    const DWORD event = ending == Support::Ending::Interrupt ? CTRL_C_EVENT : CTRL_BREAK_EVENT;
    std::async(std::launch::async, [event] { HandleConsoleEvent(event); }).wait();
}

}  // namespace LearningApp::Testing
