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
    bool mayReplace = true;    // whether results may take the place of files
};

/// One photo and the file of its result.
struct PhotoTask {
    std::string photo;
    std::string output;
};

/// Gives each photo its result. Throws WrongUse if there is no place for one, if two would have
/// the same, or if one would replace a photo, even if the user has named that place, or anything
/// that it may not.
std::vector<PhotoTask> PlanPhotoTasks(const PhotoOptions& options);

}  // namespace LearningApp
