// Which photos a command turns into which files.

#pragma once

#include <string>
#include <vector>

namespace LearningApp {

/// What the user has said of photos and results.
struct PhotoOptions {
    std::vector<std::string> photos;
    std::string output;        // "{}" in it stands for the name of the photo; may be empty
    std::string outputFolder;  // likewise
};

/// One photo and the file of its result.
struct PhotoTask {
    std::string photo;
    std::string output;
};

/// Gives each photo its result. Throws WrongUse if there is no place for one, if two would have
/// the same, or if one would replace a photo, unless the user has named that place.
std::vector<PhotoTask> PlanPhotoTasks(const PhotoOptions& options);

}  // namespace LearningApp
