// The program `learning-service`: RunService() until Ctrl-C or SIGTERM.

#include "Kernel/Semaphore.h"

#include "CommandLine.h"
#include "service/Termination.h"

#include <algorithm>
#include <iostream>

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    Kernel::Semaphore end;
    const Service::Termination termination(end);
    return Service::RunService(arguments, std::cout, std::cerr, end);
}
