// The ways in which a command ends early.

#pragma once

#include "Kernel/Format.h"

#include <stdexcept>
#include <string_view>

namespace LearningApp {

/// The command can't be done: exit code 1. The text says what failed, names the file and, where it
/// can, the cure. Placeholders as for Kernel::Format().
class Failure : public std::runtime_error {
public:
    template <class... Arguments>
    explicit Failure(std::string_view pattern, const Arguments&... arguments)
        : std::runtime_error(Kernel::Format(pattern, arguments...).c_str()) {}
};

/// The command is not well put: exit code 2.
class WrongUse : public Failure {
public:
    using Failure::Failure;
};

/// The user has ended the command: exit code 130, as shells have it for Ctrl-C.
class Interrupted : public Failure {
public:
    Interrupted() : Failure("interrupted") {}
};

}  // namespace LearningApp
