// Photos in, results out.

#pragma once

#include "Kernel/Streams.h"
#include "Raster/DynamicBitmap.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace LearningApp {

/// Reads a PNG or JPEG file as RGBA8 in sRGB, which is what networks are trained on. Throws
/// Failure, which names the file.
Kernel::Counted<Raster::DynamicBitmap> LoadPhoto(const std::string& path);

/// Whether the name `path` ends in `extension`, such as ".png", in either case.
bool HasExtension(std::string_view path, std::string_view extension);

/// To be called before the work, so that nobody waits for a result that can't be kept. Throws
/// WrongUse unless `path` ends in ".png", and whatever CheckTarget() throws.
void CheckPictureTarget(const std::string& path);
/// Throws Failure if no file can be written at `path`.
void CheckTarget(const std::string& path);

/// Creates the folder `path` and those above it that are missing. Throws Failure with the reason if
/// that fails.
void CreateFolder(const std::string& path);

/// When the file was last written; nothing if that can't be found out.
std::optional<std::filesystem::file_time_type> GetWriteTime(const std::string& path);

/// Writes the file `path` by way of a new file beside it: the file is there as a whole, or as it
/// was before. Throws whatever `write` throws, and Kernel::IoException if the file can't be created
/// or put in place.
void WriteWhole(const std::string& path, const std::function<void(Kernel::OutStream&)>& write);

/// Whether SavePicture() and LoadPhoto() can be asked for a picture of that size.
bool IsPictureSize(std::int64_t width, std::int64_t height);
void SavePicture(const Raster::DynamicBitmap& picture, const std::string& path);

}  // namespace LearningApp
