// The commands that have the inference service make pictures.

#pragma once

#include "Learning/ImageToImageAlphaMode.h"
#include "Learning/RemoteOptions.h"

#include "commands/PhotoTasks.h"
#include "host/Host.h"
#include "service/ServiceOptions.h"

#include <string>

namespace LearningApp {

// Each throws as other commands do. Before anything is sent it refuses results that would replace a
// file, unless `isForced`, and all else that can be known to fail: the service may want money. What
// has been accepted and not been written can be fetched by ResumeJob().

struct GenerateOptions {
    std::string prompt;
    std::string negativePrompt;
    std::string output;
    int count = 1;
    std::string model;  // key; empty: the default one, as below
    int aspect = 0;
    std::string style;      // as FindStyle() takes it; empty: none
    std::string reference;  // picture that guides; may be empty
    Learning::TextToImageGuidanceMode referenceUse = Learning::TextToImageGuidanceMode::None;
    bool isEnhanced = false;  // the prompt
    bool isForced = false;
};

struct EditOptions {
    std::string photo;
    std::string prompt;
    std::string output;
    std::string model;
    Learning::ImageToImageAlphaMode alphaMode = Learning::ImageToImageAlphaMode::AsReturned;
    bool isForced = false;
};

struct ReplaceOptions {
    std::string photo;
    std::string object;  // a cut-out of the photo
    std::string prompt;
    std::string output;
    double strength = 1;  // 0..1
    int count = 1;
    bool isExpanded = false;
    bool isPrepared = false;
    bool isForced = false;
};

struct JobsOptions {
    std::string forgotten;  // the job that is to be taken out of the journal; empty: none
};

struct ResumeOptions {
    std::string job;
    std::string output;  // in place of the one that the job was to have; may be empty
    bool isForced = false;
};

/// Makes pictures of what a text describes.
void Generate(const Host& host, const ServiceOptions& service, const GenerateOptions& options);

/// Changes a photo as a text says.
void Edit(const Host& host, const ServiceOptions& service, const EditOptions& options);

/// Takes the background away from photos.
void RemoveBackground(const Host& host, const ServiceOptions& service, const PhotoOptions& photos);

/// Puts something else in the place of a thing in a photo.
void ReplaceObject(const Host& host, const ServiceOptions& service, const ReplaceOptions& options);

/// Lists the jobs whose results are not written yet, or takes one out of the list.
void ListJobs(const Host& host, const JobsOptions& options);

/// Fetches the result of a job.
void ResumeJob(const Host& host, const ServiceOptions& service, const ResumeOptions& options);

}  // namespace LearningApp
