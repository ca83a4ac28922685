// Results that take the place of no file, and have numbers if there are several.

#pragma once

#include "Raster/DynamicBitmap.h"

#include <string>
#include <vector>

namespace LearningApp {

/// The names of `count` results: "OUT.png", or "OUT-1.png" and so on. Throws WrongUse if there are
/// several and IsPipe() is true for `output`.
std::vector<std::string> NumberNames(const std::string& output, int count);

/// Throws WrongUse if something stands at `path`, unless IsPipe() is true.
void RefuseExisting(const std::string& path);

/// Throws WrongUse if `path` and `source`, from which the result is made and which may be empty,
/// are one file, which is there.
void RefuseSource(const std::string& path, const std::string& source);

/// To be called before pictures are paid for: throws as CheckPictureTarget(), RefuseSource() for
/// each of `sources` and, unless `isForced`, RefuseExisting() do for one of the names.
void CheckNewPictures(const std::string& output, int count, bool isForced,
                      const std::vector<std::string>& sources);

/// Whether the file at `path` is what SavePicture() makes of `picture`.
bool HoldsPicture(const std::string& path, const Raster::DynamicBitmap& picture);

/// As SavePicture(), but over nothing: if something stands at `path`, even if it has just come, the
/// name is the first of "OUT-2.png" and so on at which nothing does. Returns the name.
std::string SaveNewPicture(const Raster::DynamicBitmap& picture, const std::string& path);

}  // namespace LearningApp
