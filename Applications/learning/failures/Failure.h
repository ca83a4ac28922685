// The errors that end a command, each with an exit code of its own.

#pragma once

#include "Kernel/Format.h"

#include <stdexcept>
#include <string_view>

namespace LearningApp {

/// The command has failed: exit code 1. The text says what failed, names the file and, where one is
/// known, a remedy. Placeholders as for Kernel::Format().
class Failure : public std::runtime_error {
public:
    template <class... Arguments>
    explicit Failure(std::string_view pattern, const Arguments&... arguments)
        : std::runtime_error(Kernel::Format(pattern, arguments...).c_str()) {}
};

/// The arguments are wrong: exit code 2.
class WrongUse : public Failure {
public:
    using Failure::Failure;
};

/// A network is not installed or can't be loaded: exit code 1.
class NetworkUnavailable : public Failure {
public:
    using Failure::Failure;
};

/// The inference service refuses this request and those to come, whatever they ask for: exit
/// code 1.
class ServiceRefusal : public Failure {
public:
    using Failure::Failure;
};

/// The user has ended the command: exit code 130, by which shells report SIGINT.
class Interrupted : public Failure {
public:
    /// `more`: what there is to say about it.
    explicit Interrupted(std::string_view more = {}) : Failure("interrupted%1", more) {}
};

}  // namespace LearningApp
