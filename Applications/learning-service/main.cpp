// The program `learning-service`: RunService() until Ctrl-C or SIGTERM.

#include "CommandLine.h"
#include "service/LineStream.h"
#include "service/Signals.h"
#include "service/Wishes.h"

#include <algorithm>

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    Service::Wishes wishes;
    const Service::Signals signals(wishes);
    using Service::LineStream;
    LineStream out(LineStream::Standard::Output);
    LineStream err(LineStream::Standard::Error);
    return Service::RunService(arguments, out, err, wishes);
}
