#include "files/NewFiles.h"

#include "Kernel/FileSystem.h"

#include "failures/Failure.h"
#include "files/Files.h"
#include "files/Pipes.h"

namespace LearningApp {

namespace {

/// "OUT-7.png" for "OUT.png".
std::string AddNumber(const std::string& path, int number) {
    const std::size_t dot = path.rfind('.');
    const std::size_t slash = path.rfind('/');
    const bool hasExtension =
        dot != std::string::npos && (slash == std::string::npos || dot > slash + 1);
    std::string numbered = path;
    return numbered.insert(hasExtension ? dot : path.size(), '-' + std::to_string(number));
}

}  // namespace

std::vector<std::string> NumberNames(const std::string& output, int count) {
    if (count < 2) {
        return {output};
    }
    if (IsPipe(output)) {
        throw WrongUse("%1 pictures do not fit into %2: name a file", count,
                       IsStandardStream(output) ? "the standard output" : output);
    }
    std::vector<std::string> names;
    for (int i = 1; i <= count; ++i) {
        names.push_back(AddNumber(output, i));
    }
    return names;
}

void RefuseExisting(const std::string& path) {
    if (!IsPipe(path) && Kernel::FileSystem::Exists(path)) {
        throw WrongUse("%1 is there already: name another file, or add --force to replace it",
                       path);
    }
}

void CheckNewPictures(const std::string& output, int count, bool isForced) {
    for (const std::string& name : NumberNames(output, count)) {
        CheckPictureTarget(name);
        if (!isForced) {
            RefuseExisting(name);
        }
    }
}

std::string FindFreeName(const std::string& path) {
    std::string name = path;
    for (int i = 2; !IsPipe(path) && Kernel::FileSystem::Exists(name); ++i) {
        name = AddNumber(path, i);
    }
    return name;
}

}  // namespace LearningApp
