// Kinds of options that several commands have.

#pragma once

#include "Kernel/Format.h"

#include "commands/Commands.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>

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

/// What is wrong with a text as a number from `least` to `most`; empty if nothing is.
template <class Number>
std::function<std::string(const std::string&)> CheckNumber(Number least, Number most) {
    return [least, most](const std::string& text) {
        Number value{};
        const char* const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, value);
        const bool isRead = error == std::errc() && stop == end;
        const char* const kind = std::is_integral_v<Number> ? "whole number" : "number";
        return isRead && value >= least && value <= most
                   ? std::string()
                   : std::string(std::string_view(
                         Kernel::Format("%1 is not a %2 from %3 to %4", text, kind, least, most)));
    };
}

CLI::App* AddCommand(CLI::App& app, const char* name, const char* description, const char* example);

void AddPhotoOptions(CLI::App& command, PhotoOptions& options);

void AddServiceOptions(CLI::App& command, ServiceOptions& options);
void AddShowRequest(CLI::App& command, ServiceOptions& options);

/// Words need no quotation marks.
void AddText(CLI::App& command, const char* name, const char* description, std::string& text);

}  // namespace LearningApp
