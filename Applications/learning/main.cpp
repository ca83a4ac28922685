// The program `learning`: the console around RunLearning().

#include "CommandLine.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    const bool isTerminal = isatty(STDERR_FILENO) != 0;
    return LearningApp::RunLearning(arguments, std::cout, std::cerr, isTerminal);
}
