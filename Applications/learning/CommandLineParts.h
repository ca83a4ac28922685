// Kinds of options that several commands have.

#pragma once

#include "commands/Commands.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <map>
#include <string>

namespace LearningApp {

/// What the arguments ask for.
using Command = std::function<void(const Host& host)>;

/// An option whose value is one of a few words.
template <class Value>
void AddChoice(CLI::App& app, const char* name, const char* type, const char* description,
               const std::map<std::string, Value>& choices, Value& value) {
    const auto set = [choices, &value](const std::string& word) { value = choices.at(word); };
    app.add_option_function<std::string>(name, set, description)
        ->type_name(type)
        ->check(CLI::IsMember(choices));
}

CLI::App* AddCommand(CLI::App& app, const char* name, const char* description, const char* example);

void AddPhotoOptions(CLI::App& command, PhotoOptions& options);

void AddServiceOptions(CLI::App& command, ServiceOptions& options);
/// For commands that begin operations of the service.
void AddShowRequest(CLI::App& command, ServiceOptions& options);

/// Words need no quotation marks.
void AddText(CLI::App& command, const char* name, const char* description, std::string& text);

}  // namespace LearningApp
