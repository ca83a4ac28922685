// The part of the command line that has the inference service make pictures.

#pragma once

#include "CommandLineParts.h"
#include "commands/PictureCommands.h"

#include <CLI/CLI.hpp>

namespace LearningApp {

/// What the arguments of these commands say.
struct PictureArguments {
    ServiceOptions service;
    GenerateOptions generate;
    EditOptions edit;
    ReplaceOptions replace;
    JobsOptions jobs;
    ResumeOptions resume;
    bool isForced = false;  // of photo commands
};

/// Each command, once parsed, sets `command`.
void AddPictureCommands(CLI::App& app, PictureArguments& arguments, PhotoOptions& photos,
                        Command& command);

}  // namespace LearningApp
