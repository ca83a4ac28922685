#include "CommandLineParts.h"

#include <vector>

namespace LearningApp {

CLI::App* AddCommand(CLI::App& app, const char* name, const char* description,
                     const char* example) {
    CLI::App* command = app.add_subcommand(name, description);
    command->footer(std::string("Example: learning ") + example);
    return command;
}

void AddPhotoOptions(CLI::App& command, PhotoOptions& options) {
    command
        .add_option("PHOTO", options.photos,
                    "JPEG, PNG, TIFF or WebP file, or - for the standard input. May be several")
        ->required()
        ->type_name("FILE");
    command
        .add_option("-o,--output", options.output,
                    "PNG file to write, or - for the standard output; {} in it stands for the "
                    "name of the photo")
        ->type_name("OUT.png")
        ->allow_extra_args(false);
    command
        .add_option("--output-folder", options.outputFolder,
                    "Folder to write the results to, under the names of their photos")
        ->type_name("DIR");
}

void AddServiceOptions(CLI::App& command, ServiceOptions& options) {
    command
        .add_option("--service", options.address,
                    "Where the inference service is, if not where this program was built for; else "
                    "$ORVANTIS_SERVICE")
        ->type_name("HOST:PORT");
    command
        .add_option("--credentials", options.credentials,
                    "File, for its owner alone, with mirel_api_url=, mirel_access_token=, "
                    "mirel_user_id= and custom_bearer=, a line each")
        ->type_name("FILE");
    command.add_option("--api-url", options.apiUrl, "Instead of the file")->type_name("URL");
    command.add_option("--access-token", options.accessToken, "Likewise; others may see it (ps)")
        ->type_name("TOKEN");
    command.add_option("--user-id", options.userId, "Likewise")->type_name("ID");
    command
        .add_option("--bearer", options.bearer,
                    "Likewise, as the token; else $OrvantisCustomInferenceBearer")
        ->type_name("BEARER");
}

void AddShowRequest(CLI::App& command, ServiceOptions& options) {
    command.add_flag("--show-request", options.showsRequests,
                     "Show what would be sent, pictures as size and digest and credentials hidden, "
                     "and send and write nothing: the first request, since those that follow "
                     "depend on answers");
}

void AddText(CLI::App& command, const char* name, const char* description, std::string& text) {
    const auto join = [&text](const std::vector<std::string>& words) {
        for (const std::string& word : words) {
            text += (text.empty() ? "" : " ") + word;
        }
    };
    command.add_option_function<std::vector<std::string>>(name, join, description)
        ->required()
        ->type_name("TEXT");
}

}  // namespace LearningApp
