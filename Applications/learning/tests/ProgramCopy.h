// The program in a place where a test can take its inference runtime away.

#pragma once

#include "support/Process.h"

#include <string>

namespace LearningApp::Testing {

struct ProgramCopy {
    std::string program;
    std::string runtime;       // where it looks for the runtime, which is not there
    Support::Command command;  // how to run it
};

/// Puts what the program needs of this project into `folder`.
ProgramCopy CopyProgram(const std::string& folder);

}  // namespace LearningApp::Testing
