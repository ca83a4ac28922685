// The help of a command.

#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace LearningApp {

/// Lists the options of the whole program in the help of each of its commands.
class HelpFormatter final : public CLI::Formatter {
public:
    std::string make_footer(const CLI::App* app) const override;
};

/// The help of the command `name`, or of the program `app` if that is empty. Throws WrongUse if
/// there is no such command.
std::string GetHelp(const CLI::App& app, const std::string& name);

}  // namespace LearningApp
