// What is told of arguments that the program does not know.

#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace LearningApp {

/// Throws WrongUse for `error`, with which the parsing of `app` has ended. A misspelt option comes
/// first: often what is missing is what it should have been.
[[noreturn]] void RefuseArguments(const CLI::App& app, const CLI::ParseError& error);

/// Throws WrongUse for the command `name`, which is not there.
[[noreturn]] void RefuseCommand(const CLI::App& app, const std::string& name);

}  // namespace LearningApp
