#include "options/CommandHelp.h"

#include "options/WrongOptions.h"

namespace LearningApp {

std::string HelpFormatter::make_footer(const CLI::App* app) const {
    const CLI::App* const program = app->get_parent();
    std::string footer = CLI::Formatter::make_footer(app);
    if (program == nullptr) {
        return footer;
    }
    const auto isForAll = [program](const CLI::Option* option) {
        return option->nonpositional() && option != program->get_help_ptr();
    };
    const std::string group = make_group("Global options", false, program->get_options(isForAll));
    return group.substr(1) + '\n' + footer;  // a blank line is before it already
}

std::string GetHelp(const CLI::App& app, const std::string& name) {
    if (name.empty()) {
        // Not app.help(), which is that of the command "help".
        return app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal);
    }
    for (const CLI::App* const command : app.get_subcommands({})) {
        if (command->check_name(name)) {
            return command->help(app.get_name());
        }
    }
    RefuseCommand(app, name);
}

}  // namespace LearningApp
