#include "Main.h"

#include "CommandLine.h"
#include "service/Language.h"
#include "terminal/Interruption.h"
#include "terminal/StandardStreams.h"

#include <cstdlib>
#include <iostream>

namespace LearningApp {

void RunProgram(const std::vector<std::string>& arguments) {
    PrepareStreams();
    EndWhenInterrupted();
    SpeakUsersLanguage();
    const int code = RunLearning(arguments, std::cout, std::cerr, IsErrorTerminal());
    RestoreTerminals();
    // All is written: closing networks and libraries in order would take longer than the system
    // needs to end the process with them.
    std::_Exit(code);
}

}  // namespace LearningApp
