// The commands of `learning`.

#pragma once

#include "host/Host.h"

#include <string>
#include <vector>

namespace LearningApp {

// Every command throws Failure, or what the libraries throw; then it has written no file, but for
// the networks that DownloadModels() had already installed.

/// A command that turns a photo into a picture.
struct PhotoOptions {
    std::string photo;
    std::string output;  // a PNG file
};

struct SegmentOptions : PhotoOptions {
    enum class Show { Cutout, Mask, Overlay };

    std::vector<std::string> inside;   // "X,Y", in pixels of the photo
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

/// Cuts the thing that the inside points are on out of the photo.
void Segment(const Host& host, const SegmentOptions& options);

/// Draws how near each part of the photo is.
void EstimateDepth(const Host& host, const PhotoOptions& options);

/// Gives the photo likely colours, and keeps the luma of every pixel.
void Colourise(const Host& host, const PhotoOptions& options);

/// Doubles the size of the photo.
void SuperResolve(const Host& host, const PhotoOptions& options);

/// Runs any ONNX network.
void RunModel(const Host& host, const RunOptions& options);

}  // namespace LearningApp
