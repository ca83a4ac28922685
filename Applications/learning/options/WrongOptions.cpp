#include "options/WrongOptions.h"

#include "failures/Failure.h"
#include "failures/Suggestion.h"

#include <algorithm>
#include <vector>

namespace LearningApp {

namespace {

void AddOptions(const CLI::App& app, std::vector<std::string>& names) {
    for (const CLI::Option* const option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
}

[[noreturn]] void RefuseOption(const CLI::App& app, const CLI::App* command,
                               const std::string& argument) {
    const std::string name = argument.substr(0, argument.find('='));
    std::vector<std::string> names;
    if (command != nullptr) {
        AddOptions(*command, names);
        if (std::ranges::count(names, name) != 0) {
            throw WrongUse(
                "%1 is an option of %2: it comes after that word\nRun learning %2 --help.", name,
                command->get_name());
        }
    }
    AddOptions(app, names);
    const std::string suggestion = name.starts_with("--") ? Suggest(name, names) : "";
    throw WrongUse("there is no option %1%2\nRun learning %3--help.", name, suggestion,
                   command != nullptr ? command->get_name() + ' ' : "");
}

[[noreturn]] void RefuseRest(const std::vector<std::string>& rest, const std::string& command) {
    std::string list;
    for (const std::string& argument : rest) {
        list += ' ' + argument;
    }
    throw WrongUse("unexpected argument%1:%2\nRun learning %3 --help.", rest.size() > 1 ? "s" : "",
                   list, command);
}

}  // namespace

void RefuseArguments(const CLI::App& app, const CLI::ParseError& error) {
    const std::vector<std::string> rest = app.remaining(true);  // in the order of the arguments
    const std::vector<const CLI::App*> commands =
        app.get_subcommands([](const CLI::App* command) { return command->parsed(); });
    const CLI::App* const command = commands.empty() ? nullptr : commands.front();
    const auto option = std::ranges::find_if(
        rest, [](const auto& argument) { return argument.size() > 1 && argument.front() == '-'; });
    if (command == nullptr && !rest.empty() && option != rest.begin()) {
        RefuseCommand(app, rest.front());
    }
    if (option != rest.end() && *option != "--") {
        RefuseOption(app, command, *option);
    }
    if (command != nullptr && dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
        RefuseRest(rest, command->get_name());
    }
    throw WrongUse("%1\nRun learning %2--help.", error.what(),
                   command != nullptr ? command->get_name() + ' ' : "");
}

void RefuseCommand(const CLI::App& app, const std::string& name) {
    std::vector<std::string> names;
    for (const CLI::App* const command : app.get_subcommands({})) {
        names.push_back(command->get_name());
        std::ranges::copy(command->get_aliases(), std::back_inserter(names));
    }
    throw WrongUse("there is no command %1%2\nRun learning --help.", name, Suggest(name, names));
}

}  // namespace LearningApp
