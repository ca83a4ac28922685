#include "CommandLine.h"

#include "Kernel/Utf.h"

#include "CommandLineParts.h"
#include "PictureCommandLine.h"
#include "commands/Commands.h"
#include "failures/Failure.h"
#include "options/CommandHelp.h"
#include "options/WrongOptions.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <ostream>

namespace LearningApp {

namespace {

using InferenceMode = Learning::ModelCache::InferenceMode;
using Show = SegmentOptions::Show;

/// What the arguments say. Each command, once parsed, sets `command`.
struct Parsed {
    Settings settings;
    PhotoOptions photos;
    SegmentOptions segment;
    RunOptions run;
    DescribeOptions describe;
    ServiceOptions service;
    CatalogueOptions catalogue;
    QuestionOptions question;
    ReportOptions report;
    ListOptions list;
    DownloadOptions download;
    std::vector<std::string> deleted;
    PictureArguments pictures;
    std::optional<std::string> help;  // of this command, or of the program if it is empty
    Command command;
};

void AddGlobalOptions(CLI::App& app, Settings& settings) {
    app.add_option("--models,--cache", settings.models,
                   "Folder of the networks; else $ORVANTIS_MODELS, or orvantis/models in the "
                   "user's folder for caches: $XDG_CACHE_HOME or ~/.cache, or on Windows "
                   "%LOCALAPPDATA%")
        ->type_name("DIR");
    AddChoice<InferenceMode>(app, "--mode", "MODE",
                             "What to run on: cpu (default), performance or efficiency",
                             {{"cpu", InferenceMode::CPU},
                              {"performance", InferenceMode::MaxPerformance},
                              {"efficiency", InferenceMode::MaxEfficiency}},
                             settings.mode);
    app.add_option("--server", settings.server,
                   "Address of the server of networks, http or https; else $ORVANTIS_SERVER")
        ->type_name("URL");
    app.add_option("--certificate", settings.certificate,
                   "PEM file of the authority to trust in place of the system's")
        ->type_name("FILE");
    app.add_flag("--verbose", settings.isVerbose, "Tell what the library does");
    app.add_flag("-q,--quiet", settings.isQuiet, "Show nothing but results and failures");
    app.add_flag("--timing", settings.isTimed, "Show how long each phase of the command took");
    app.set_version_flag("--version", "learning " ORVANTIS_VERSION);
    app.footer("Example: learning --models ~/models segment cat.jpg --at 320,200 -o cat.png");
}

/// Options that may come several times, each with one value.
CLI::Option* AddListOption(CLI::App& command, const char* name, std::vector<std::string>& values,
                           const char* type, const char* description) {
    return command.add_option(name, values, description)->type_name(type)->allow_extra_args(false);
}

void RunOnParsedPhotos(CLI::App& command, Parsed& parsed, const PhotoCommand& run) {
    command.callback([&parsed, run] {
        parsed.command = [&parsed, run](const Host& host) {
            RunOnPhotos(host, parsed.photos, run);
        };
    });
}

void AddSegmentCommand(CLI::App& app, Parsed& parsed) {
    CLI::App* command = AddCommand(app, "segment", "Cut out the thing at some points of a photo",
                                   "segment cat.jpg --at 320,200 -o cat.png");
    SegmentOptions& options = parsed.segment;
    AddPhotoOptions(*command, parsed.photos);
    AddListOption(*command, "--at", options.inside, "X,Y", "A pixel of the thing; may be repeated")
        ->required()
        ->check(FindPointFault);
    AddListOption(*command, "--not", options.outside, "X,Y",
                  "A pixel of something else; may be repeated")
        ->check(FindPointFault);
    AddChoice<Show>(*command, "--show", "WHAT", "What to write: cutout (default), mask or overlay",
                    {{"cutout", Show::Cutout}, {"mask", Show::Mask}, {"overlay", Show::Overlay}},
                    options.show);
    RunOnParsedPhotos(*command, parsed, [&options](const Host& host, const PhotoTask& task) {
        Segment(host, task, options);
    });
}

void AddRunCommand(CLI::App& app, Parsed& parsed) {
    CLI::App* command =
        AddCommand(app, "run", "Run any ONNX network",
                   "run net.onnx --input x=1x2:0.5,1 --output y --output mask:1x1x64x64=mask.png");
    command->add_option("MODEL", parsed.run.model, "ONNX file")->required()->type_name("FILE");
    AddListOption(*command, "--input", parsed.run.inputs, "NAME=SOURCE",
                  "A .png, .jpg, .tif or .webp file (grey, RGB or RGBA as the network takes it, "
                  "0..1), a .npy file, or SHAPE:VALUES");
    AddListOption(*command, "--output", parsed.run.outputs, "NAME[:SHAPE][=FILE]",
                  "Print a result, or write it to a .npy or .png file. Where the network leaves "
                  "the shape open, name it");
    command->callback([&parsed] {
        parsed.command = [&parsed](const Host& host) { RunModel(host, parsed.run); };
    });
}

/// The form of the JSON is in docs/MODELS.md.
void AddJsonOption(CLI::App& command, bool& isJson) {
    command.add_flag("--json", isJson, "Write JSON, for programs");
}

void AddDescribeCommand(CLI::App& app, Parsed& parsed) {
    CLI::App* command =
        AddCommand(app, "describe", "Show what a network takes and gives, and what it is",
                   "describe net.onnx");
    command
        ->add_option("MODEL", parsed.describe.model,
                     "ONNX file, or an installed network: depth, colourise, super-resolve, or a "
                     "type as `learning models` shows it")
        ->required()
        ->type_name("FILE");
    AddJsonOption(*command, parsed.describe.isJson);
    command->callback([&parsed] {
        parsed.command = [&parsed](const Host& host) { DescribeModel(host, parsed.describe); };
    });
}

void AddServiceCommands(CLI::App& app, Parsed& parsed) {
    const auto add = [&](const char* name, const char* description, const char* example,
                         auto& options, auto run) {
        CLI::App* const command = AddCommand(app, name, description, example);
        AddServiceOptions(*command, parsed.service);
        AddShowRequest(*command, parsed.service);
        command->callback([&parsed, &options, run] {
            parsed.command = [&parsed, &options, run](const Host& host) {
                parsed.service.certificate = host.GetSettings().certificate;
                run(host, parsed.service, options);
            };
        });
        return command;
    };
    CLI::App* const catalogue = add("catalogue", "List the models of the inference service",
                                    "catalogue", parsed.catalogue, ListCatalogue);
    catalogue->alias("catalog");
    AddJsonOption(*catalogue, parsed.catalogue.isJson);
    catalogue->add_flag("--offline", parsed.catalogue.isOffline,
                        "Those that are known without asking it");
    const auto addQuestion = [&](const char* name, const char* description, const char* example,
                                 auto run) {
        CLI::App* const command = add(name, description, example, parsed.question, run);
        AddText(*command, "QUESTION", "What you want to know", parsed.question.text);
        command
            ->add_option("--session", parsed.question.session,
                         "Any name: questions of one session may refer to each other")
            ->type_name("NAME");
    };
    addQuestion("ask", "Ask the inference service for help", "ask How do I sharpen a photograph?",
                Ask);
    addQuestion("hints", "Ask the inference service for hints for an assistant",
                "hints cut out a cat", ShowHints);
    CLI::App* const report =
        add("report", "Tell the inference service of an issue",
            "report the cat has lost its tail --code cutout", parsed.report, Report);
    AddText(*report, "WHAT", "What has happened", parsed.report.text);
    report->add_option("--code", parsed.report.code, "The kind of issue; other by default")
        ->type_name("WORD");
    report->add_flag("--hint", parsed.report.isHint, "It is no issue, but a hint that was of use");
}

void AddModelNames(CLI::App& command, std::vector<std::string>& names) {
    command
        .add_option("MODEL", names,
                    "Network, by the command that uses it: depth, colourise, super-resolve or "
                    "segment, which has two; by its type, as `learning models` shows it; or all. "
                    "May be several")
        ->required()
        ->type_name("NAME");
}

void AddCacheCommands(CLI::App& app, Parsed& parsed) {
    CLI::App* models = AddCommand(app, "models", "List the networks and where they are", "models");
    AddJsonOption(*models, parsed.list.isJson);
    models->callback([&parsed] {
        parsed.command = [&parsed](const Host& host) { ListModels(host, parsed.list); };
    });
    CLI::App* download = AddCommand(app, "download", "Get networks from a server",
                                    "download all --server http://127.0.0.1:8080/");
    AddModelNames(*download, parsed.download.models);
    download->add_flag("--force", parsed.download.isForced, "Also those that are there already");
    download->callback([&parsed] {
        parsed.command = [&parsed](const Host& host) { DownloadModels(host, parsed.download); };
    });
    CLI::App* remove = AddCommand(app, "delete", "Delete networks", "delete SuperResolution");
    AddModelNames(*remove, parsed.deleted);
    remove->callback([&parsed] {
        parsed.command = [&parsed](const Host& host) { DeleteModels(host, parsed.deleted); };
    });
}

void AddHelpCommand(CLI::App& app, Parsed& parsed) {
    CLI::App* command = AddCommand(app, "help", "Show the help of a command", "help depth");
    const auto name = std::make_shared<std::string>();
    command->add_option("COMMAND", *name, "Which command; by default the whole program")
        ->type_name("NAME");
    command->callback([&parsed, name] { parsed.help = *name; });
}

void AddCommands(CLI::App& app, Parsed& parsed) {
    AddCacheCommands(app, parsed);
    AddSegmentCommand(app, parsed);
    const auto addPhotoCommand = [&](const char* name, const char* description, const char* example,
                                     void (*run)(const Host&, const PhotoTask&)) {
        CLI::App* command = AddCommand(app, name, description, example);
        AddPhotoOptions(*command, parsed.photos);
        RunOnParsedPhotos(*command, parsed, run);
        return command;
    };
    addPhotoCommand("depth", "Show how near things are: near is bright",
                    "depth street.jpg -o depth.png", EstimateDepth);
    addPhotoCommand("colourise", "Give a grey photo likely colours", "colourise old.jpg -o new.png",
                    Colourise)
        ->alias("colorize")
        ->alias("colourize")
        ->alias("colorise");
    addPhotoCommand("super-resolve", "Double the size of a photo",
                    "super-resolve small.png -o large.png", SuperResolve);
    AddRunCommand(app, parsed);
    AddDescribeCommand(app, parsed);
    AddServiceCommands(app, parsed);
    AddPictureCommands(app, parsed.pictures, parsed.photos, parsed.command);
    AddHelpCommand(app, parsed);
    app.require_subcommand(0, 1);  // Run() asks for one, with a better message
    for (CLI::App* command : app.get_subcommands({})) {
        command->fallthrough();  // so that global options may also follow the command
    }
}

int Run(const std::vector<std::string>& arguments, const Console& console) {
    Parsed parsed;
    CLI::App app("Run the machine-learning features of Orvantis on photos.", "learning");
    app.formatter(std::make_shared<HelpFormatter>());
    AddGlobalOptions(app, parsed.settings);
    AddCommands(app, parsed);
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::Success& request) {  // a request for help or the version
        return app.exit(request, console.out, console.err);
    } catch (const CLI::ParseError& error) {
        RefuseArguments(app, error);
    }
    if (parsed.help) {
        console.out << GetHelp(app, *parsed.help);
        return 0;
    }
    if (!parsed.command) {
        throw WrongUse("a command is needed.\nRun learning --help.");
    }
    if (parsed.settings.isVerbose && parsed.settings.isQuiet) {
        throw WrongUse("--verbose and --quiet contradict each other");
    }
    const Host host(parsed.settings, console);
    parsed.command(host);
    host.Finish();
    return 0;
}

}  // namespace

int RunLearning(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
                bool isTerminal) {
    const auto fail = [&err](const std::string& reason, int code) {
        err << "learning: " << Kernel::MakePrintableLines(reason).c_str() << '\n';
        return code;
    };
    try {
        const int code = Run(arguments, {out, err, isTerminal});
        return out.flush() ? code : fail("cannot write to the standard output", 1);
    } catch (const WrongUse& wrongUse) {
        return fail(wrongUse.what(), 2);
    } catch (const Interrupted& interrupted) {
        return fail(interrupted.what(), 130);
    } catch (const std::bad_alloc&) {
        return fail("there is not enough memory for this", 1);
    } catch (const std::exception& exception) {
        return fail(exception.what(), 1);
    }
}

}  // namespace LearningApp
