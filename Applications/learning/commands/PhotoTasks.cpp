#include "commands/PhotoTasks.h"

#include "failures/Failure.h"
#include "files/Files.h"
#include "files/NewFiles.h"
#include "files/Paths.h"
#include "files/Pipes.h"
#include "terminal/ShellWords.h"

#include <map>
#include <set>
#include <string_view>

namespace LearningApp {

namespace {

constexpr std::string_view Placeholder = "{}";

/// The name of a photo without its folder and its extension.
std::string GetStem(const std::string& photo) {
    if (IsStandardStream(photo)) {
        return "photo";
    }
    return FromPath(ToPath(photo).stem());
}

std::string Fill(std::string pattern, const std::string& stem) {
    for (std::size_t at = pattern.find(Placeholder); at != std::string::npos;
         at = pattern.find(Placeholder, at + stem.size())) {
        pattern.replace(at, Placeholder.size(), stem);
    }
    return pattern;
}

/// The names of results, with Placeholder where that of the photo belongs.
std::string GetPattern(const PhotoOptions& options) {
    if (!options.outputFolder.empty() && !options.output.empty()) {
        throw WrongUse("--output and --output-folder contradict each other");
    }
    if (!options.outputFolder.empty()) {
        return options.outputFolder + (IsSeparator(options.outputFolder.back()) ? "" : "/") +
               std::string(Placeholder) + ".png";
    }
    if (options.output.empty()) {
        throw WrongUse(
            "where to write the result is not said: add -o OUT.png or --output-folder DIR");
    }
    if (options.photos.size() > 1 && options.output.find(Placeholder) == std::string::npos) {
        throw WrongUse(
            "%1 photos do not fit into %2: use --output-folder DIR, or {} for the name of the "
            "photo, such as -o %3",
            options.photos.size(), options.output, QuoteForShell("{}-new.png"));
    }
    return options.output;
}

void CheckPlaces(const std::vector<PhotoTask>& tasks) {
    std::set<std::string> photos;
    for (const PhotoTask& task : tasks) {
        if (!IsPipe(task.photo)) {
            photos.insert(Locate(task.photo));
        }
    }
    std::map<std::string, const PhotoTask*> places;
    for (const PhotoTask& task : tasks) {
        const std::string place = Locate(task.output);
        if (photos.contains(place)) {
            throw WrongUse("the result of %1 would replace the photo %2: name another place",
                           task.photo, task.output);
        }
        const auto [other, isNew] = places.emplace(place, &task);
        if (!isNew) {
            throw WrongUse("the results of %1 and %2 would both be %3", other->second->photo,
                           task.photo, task.output);
        }
    }
}

}  // namespace

std::vector<PhotoTask> PlanPhotoTasks(const PhotoOptions& options) {
    const std::string pattern = GetPattern(options);
    std::vector<PhotoTask> tasks;
    tasks.reserve(options.photos.size());
    for (const std::string& photo : options.photos) {
        tasks.push_back({photo, Fill(pattern, GetStem(photo))});
    }
    for (const PhotoTask& task : tasks) {
        RefuseSource(task.output, task.photo);
    }
    if (pattern != tasks.front().output) {  // the user has not named the files
        CheckPlaces(tasks);
    }
    if (!options.mayReplace) {
        for (const PhotoTask& task : tasks) {
            RefuseExisting(task.output);
        }
    }
    return tasks;
}

}  // namespace LearningApp
