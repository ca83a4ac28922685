// Results that take the place of no file, and have numbers if there are several.

#pragma once

#include <string>
#include <vector>

namespace LearningApp {

/// The names of `count` results: "OUT.png", or "OUT-1.png" and so on. Throws WrongUse if there are
/// several and IsPipe() is true for `output`.
std::vector<std::string> NumberNames(const std::string& output, int count);

/// Throws WrongUse if something stands at `path`, unless IsPipe() is true.
void RefuseExisting(const std::string& path);

/// To be called before pictures are paid for: throws as CheckPictureTarget() and, unless
/// `isForced`, RefuseExisting() do for one of the names.
void CheckNewPictures(const std::string& output, int count, bool isForced);

/// `path`, or if something stands there the first of "OUT-2.png" and so on at which nothing does.
std::string FindFreeName(const std::string& path);

}  // namespace LearningApp
