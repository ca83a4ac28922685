// The commands of `learning`.

#pragma once

#include "commands/PhotoTasks.h"
#include "host/Host.h"
#include "service/ServiceOptions.h"

#include <functional>
#include <string>
#include <vector>

namespace LearningApp {

// Every command throws Failure, or what the libraries throw; then it has written no file, but for
// the networks that DownloadModels() had already installed and the results of the photos that have
// not failed.

/// A command that turns a photo into a picture.
using PhotoCommand = std::function<void(const Host& host, const PhotoTask& task)>;

struct SegmentOptions {
    enum class Show { Cutout, Mask, Overlay };

    // Each is "X,Y", in pixels of the photo, and FindPointFault() finds none.
    std::vector<std::string> inside;
    std::vector<std::string> outside;  // likewise
    Show show = Show::Cutout;
};

struct RunOptions {
    std::string model;
    std::vector<std::string> inputs;   // "NAME=SOURCE"
    std::vector<std::string> outputs;  // "NAME", "NAME:SHAPE", and either with "=FILE"
};

struct DescribeOptions {
    std::string model;  // a file, or else a name as FindModels() takes it
    bool isJson = false;
};

struct CatalogueOptions {
    bool isJson = false;
    bool isOffline = false;  // does not ask the service
};

struct QuestionOptions {
    std::string text;
    std::string session;  // ties questions to each other
};

struct ReportOptions {
    std::string text;
    std::string code = "other";  // what kind of issue it is
    bool isHint = false;         // it is a hint that was of use, not an issue
};

struct ListOptions {
    bool isJson = false;
};

struct DownloadOptions {
    std::vector<std::string> models;  // as ParseModelNames() takes them
    bool isForced = false;            // also those that are there already
};

/// Lists the networks that the library knows.
void ListModels(const Host& host, const ListOptions& options);

/// Shows what a network takes and gives, and what it says of itself.
void DescribeModel(const Host& host, const DescribeOptions& options);

/// Fetches networks from the server and installs them; goes on after a failure. Throws Interrupted
/// after Ctrl-C or SIGTERM.
void DownloadModels(const Host& host, const DownloadOptions& options);

/// Deletes networks that are installed. `names`: as ParseModelNames() takes them.
void DeleteModels(const Host& host, const std::vector<std::string>& names);

/// Calls `command` with each of the photos. Of several, tells of those that fail and goes on;
/// throws Failure in the end if there was one.
void RunOnPhotos(const Host& host, const PhotoOptions& options, const PhotoCommand& command);

/// What is wrong with the form of a point, which is "X,Y"; empty if nothing is.
std::string FindPointFault(const std::string& text);
/// Cuts the thing that the inside points are on out of the photo.
void Segment(const Host& host, const PhotoTask& task, const SegmentOptions& options);

/// Draws how near each part of the photo is.
void EstimateDepth(const Host& host, const PhotoTask& task);

/// Gives the photo likely colours, and keeps the luma of every pixel.
void Colourise(const Host& host, const PhotoTask& task);

/// Doubles the size of the photo.
void SuperResolve(const Host& host, const PhotoTask& task);

/// Lists the models of the inference service.
void ListCatalogue(const Host& host, const ServiceOptions& service,
                   const CatalogueOptions& options);

/// Asks the inference service for help.
void Ask(const Host& host, const ServiceOptions& service, const QuestionOptions& options);

/// Asks the inference service for hints for an assistant.
void ShowHints(const Host& host, const ServiceOptions& service, const QuestionOptions& options);

/// Tells the inference service of an issue, or of a hint that was of use.
void Report(const Host& host, const ServiceOptions& service, const ReportOptions& options);

/// Runs any ONNX network.
void RunModel(const Host& host, const RunOptions& options);

}  // namespace LearningApp
