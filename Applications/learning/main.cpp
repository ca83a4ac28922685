// The program `learning`: the console around RunLearning().

#include "CommandLine.h"
#include "terminal/ErrorStream.h"

#include <algorithm>
#include <iostream>

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    return LearningApp::RunLearning(arguments, std::cout, std::cerr,
                                    LearningApp::IsErrorStreamTerminal());
}
