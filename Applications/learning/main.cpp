// The program `learning`: the console around RunLearning().

#include "CommandLine.h"
#include "service/Language.h"
#include "terminal/Interruption.h"
#include "terminal/StandardStreams.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>

int main(int argc, char** argv) {
    LearningApp::EndWhenInterrupted();
    LearningApp::SpeakUsersLanguage();
    const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    const int code =
        LearningApp::RunLearning(arguments, std::cout, std::cerr, LearningApp::IsErrorTerminal());
    // All is written: closing networks and libraries in order would take longer than the system
    // needs to end the process with them.
    std::_Exit(code);
}
