#include "PictureCommandLine.h"

#include "service/StyleWords.h"

#include <limits>

namespace LearningApp {

namespace {

using AlphaMode = Learning::ImageToImageAlphaMode;
using Use = Learning::TextToImageGuidanceMode;

/// Adds commands that ask the service.
class Adder {
public:
    Adder(CLI::App& app, ServiceOptions& service, Command& command)
        : m_app(app), m_service(service), m_command(command) {}

    /// `run` is called with a host and the service.
    template <class Run>
    CLI::App* Add(const char* name, const char* description, const char* example,
                  const Run& run) const {
        CLI::App* const added = AddCommand(m_app, name, description, example);
        AddServiceOptions(*added, m_service);
        AddShowRequest(*added, m_service);
        added->callback([&service = m_service, &command = m_command, run] {
            command = [&service, run](const Host& host) {
                service.certificate = host.GetSettings().certificate;
                run(host, service);
            };
        });
        return added;
    }

private:
    CLI::App& m_app;
    ServiceOptions& m_service;
    Command& m_command;
};

void AddForce(CLI::App& command, bool& isForced) {
    command.add_flag("--force", isForced, "Replace files that are there already");
}

CLI::Option* AddOutput(CLI::App& command, std::string& output) {
    return command
        .add_option("-o,--output", output, "PNG file to write, or - for the standard output")
        ->type_name("OUT.png");
}

void AddCount(CLI::App& command, int& count) {
    constexpr int Most = 100;
    command
        .add_option("-n,--count", count,
                    "How many pictures to make: OUT-1.png and so on if there are several")
        ->type_name("N")
        ->check(CheckNumber(1, Most));
}

void AddModel(CLI::App& command, std::string& model) {
    command
        .add_option("--model", model,
                    "Which model to use, by its key: learning catalogue lists them")
        ->type_name("KEY");
}

void AddPhoto(CLI::App& command, std::string& photo) {
    command.add_option("PHOTO", photo, "JPEG, PNG, TIFF or WebP file, or - for the standard input")
        ->required()
        ->type_name("FILE");
}

void AddGenerate(const Adder& adder, GenerateOptions& options) {
    CLI::App* const command =
        adder.Add("generate", "Make pictures of what words describe, by the service",
                  "generate a boat on a lake --style pop-art -o boat.png",
                  [&options](const Host& host, const ServiceOptions& service) {
                      Generate(host, service, options);
                  });
    AddText(*command, "PROMPT", "What to make a picture of", options.prompt);
    AddOutput(*command, options.output)->required();
    AddCount(*command, options.count);
    AddModel(*command, options.model);
    command->add_option("--negative", options.negativePrompt, "What the pictures are not to show")
        ->type_name("TEXT");
    command
        ->add_option("--aspect", options.aspect,
                     "The proportion of the sides: a number that the service knows; 0 by default")
        ->type_name("N")
        ->check(CheckNumber(0, std::numeric_limits<int>::max()));
    command->add_option("--style", options.style, "One of " + ListStyles())->type_name("STYLE");
    command->add_option("--reference", options.reference, "Picture that guides the model")
        ->type_name("FILE");
    AddChoice<Use>(*command, "--reference-use", "USE",
                   "What of that picture guides it: face, content (default) or style",
                   {{"face", Use::FaceTransfer},
                    {"content", Use::ContentTransfer},
                    {"style", Use::StyleTransfer}},
                   options.referenceUse);
    command->add_flag("--enhance", options.isEnhanced,
                      "Let the service write a better prompt first, which is printed");
    AddForce(*command, options.isForced);
}

void AddEdit(const Adder& adder, EditOptions& options) {
    CLI::App* const command =
        adder.Add("edit", "Change a photo as words say, by the service",
                  "edit street.jpg make it snow -o snow.png",
                  [&options](const Host& host, const ServiceOptions& service) {
                      Edit(host, service, options);
                  });
    AddPhoto(*command, options.photo);
    AddText(*command, "PROMPT", "What to change", options.prompt);
    AddOutput(*command, options.output)->required();
    AddModel(*command, options.model);
    AddChoice<AlphaMode>(*command, "--alpha", "MODE",
                         "What is transparent in the result: what the service says (as-returned, "
                         "the default), what is in the photo (as-input), the background "
                         "(remove-background), or the first or the last of these (automatic)",
                         {{"as-returned", AlphaMode::AsReturned},
                          {"as-input", AlphaMode::AsInput},
                          {"remove-background", AlphaMode::RemoveBackground},
                          {"automatic", AlphaMode::Automatic}},
                         options.alphaMode);
    AddForce(*command, options.isForced);
}

void AddRemoveBackground(const Adder& adder, PhotoOptions& photos, bool& isForced) {
    CLI::App* const command =
        adder.Add("remove-background", "Cut the subject of a photo out, by the service",
                  "remove-background cat.jpg -o cat.png",
                  [&photos, &isForced](const Host& host, const ServiceOptions& service) {
                      photos.mayReplace = isForced;
                      RemoveBackground(host, service, photos);
                  });
    AddPhotoOptions(*command, photos);
    AddForce(*command, isForced);
}

void AddReplaceObject(const Adder& adder, ReplaceOptions& options) {
    CLI::App* const command =
        adder.Add("replace-object", "Put something else in the place of a thing, by the service",
                  "replace-object park.jpg a tulip --object cat.png -o tulip.png",
                  [&options](const Host& host, const ServiceOptions& service) {
                      ReplaceObject(host, service, options);
                  });
    AddPhoto(*command, options.photo);
    AddText(*command, "PROMPT", "What to put there", options.prompt);
    command
        ->add_option("--object", options.object,
                     "The thing, cut out of the photo, as by learning segment")
        ->required()
        ->type_name("CUTOUT.png");
    AddOutput(*command, options.output)->required();
    AddCount(*command, options.count);
    command
        ->add_option("--strength", options.strength,
                     "How much of the thing is replaced, from 0 to 1, the default")
        ->type_name("S")
        ->check(CheckNumber(0.0, 1.0));
    command->add_flag("--expand", options.isExpanded,
                      "What is put there may be larger than the thing");
    command->add_flag("--prepare", options.isPrepared,
                      "Send what is around the thing in place of the thing");
    AddForce(*command, options.isForced);
}

void AddJobs(const Adder& adder, CLI::App& app, PictureArguments& arguments, Command& chosen) {
    CLI::App* const jobs =
        AddCommand(app, "jobs", "List jobs of the service that are still to be fetched", "jobs");
    jobs->add_option("--forget", arguments.jobs.forgotten, "Take this job out of the list")
        ->type_name("ID");
    jobs->callback([&chosen, &options = arguments.jobs] {
        chosen = [&options](const Host& host) { ListJobs(host, options); };
    });
    ResumeOptions& options = arguments.resume;
    CLI::App* const resume =
        adder.Add("resume", "Fetch the result of a job that was accepted before", "resume 7f3a",
                  [&options](const Host& host, const ServiceOptions& service) {
                      ResumeJob(host, service, options);
                  });
    resume->add_option("ID", options.job, "The job, as learning jobs names it")
        ->required()
        ->type_name("ID");
    AddOutput(*resume, options.output)
        ->description("PNG file to write, if not the one that the job was to have");
    AddForce(*resume, options.isForced);
}

}  // namespace

void AddPictureCommands(CLI::App& app, PictureArguments& arguments, PhotoOptions& photos,
                        Command& command) {
    const Adder adder(app, arguments.service, command);
    AddGenerate(adder, arguments.generate);
    AddEdit(adder, arguments.edit);
    AddRemoveBackground(adder, photos, arguments.isForced);
    AddReplaceObject(adder, arguments.replace);
    AddJobs(adder, app, arguments, command);
}

}  // namespace LearningApp
