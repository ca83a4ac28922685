#include "tests/InterruptSelf.h"

#include <csignal>

namespace LearningApp::Testing {

void ListenToEndings() {
    std::signal(SIGINT, SIG_DFL);  // a background job of a shell ignores it
}

void InterruptSelf(Support::Ending ending) {
    std::raise(ending == Support::Ending::Interrupt ? SIGINT : SIGTERM);
}

}  // namespace LearningApp::Testing
