// Reading photos, and checking and writing the files of results.

#pragma once

#include "Kernel/Streams.h"
#include "Raster/DynamicBitmap.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace LearningApp {

class Source;

/// A new picture. Throws Failure, which tells the size, if there is no memory for it.
Kernel::Counted<Raster::DynamicBitmap> MakePicture(int width, int height, Raster::Format format);

/// Whether a format has no colours.
bool IsGrey(Raster::Format format) noexcept;
/// The format with the same bits a sample that has colours.
Raster::Format WithColours(Raster::Format format) noexcept;

/// What a photo is to be used for.
enum class PhotoUse {
    AsItIs,
    Colouring,  // it gets a format with colours even if it has none
};

/// Reads a JPEG, PNG, TIFF or WebP file with the bits a sample and the profile that it has: the
/// result is RGBA8, RGBA16, GreyA8 or GreyA16, and FindColours() knows its profile. Where that
/// can't be, it is converted to sRGB, as CMYK is. Throws Failure, which names the file.
Kernel::Counted<Raster::DynamicBitmap> LoadPhoto(Source& source, PhotoUse use = PhotoUse::AsItIs);
/// The same from what Source::Open() takes.
Kernel::Counted<Raster::DynamicBitmap> LoadPhoto(const std::string& path,
                                                 PhotoUse use = PhotoUse::AsItIs);

/// Whether the name `path` ends in `extension`, such as ".png", in either case.
bool HasExtension(std::string_view path, std::string_view extension);

/// To be called before a network runs, so that an unusable name fails at once. Throws WrongUse
/// unless `path` ends in ".png" or IsPipe() is true, and as CheckTarget() does.
void CheckPictureTarget(const std::string& path);
/// Throws Failure if no file can be written at `path`, and WrongUse as CheckPipeTarget() does.
void CheckTarget(const std::string& path);

/// `path` for use in other folders: absolute, but "-" and nothing as they are.
std::string MakeAbsolute(const std::string& path);

/// Where `path` leads, links followed, even if nothing is there: the same text for all paths to one
/// place.
std::string Locate(const std::string& path);

/// Whether two names mean one file, which need not be there yet.
bool IsSameFile(const std::string& left, const std::string& right);

/// Creates the folder `path` and those above it that are missing. Throws Failure with the reason if
/// that fails.
void CreateFolder(const std::string& path);

/// Writes the file `path` atomically: to a temporary file beside it, which then replaces it. Passes
/// on what `write` throws, and throws Kernel::IoException if the file can't be created or replaced.
/// Throws Interrupted, and leaves nothing behind, if the user ends the program before it is whole.
/// What IsPipe() is true for is written as it comes.
void WriteWhole(const std::string& path, const std::function<void(Kernel::OutStream&)>& write);

/// The same over nothing: to the first of the names `getName(1)`, `getName(2)` and so on, of one
/// folder, at which nothing is by then. Returns it. Not for what IsPipe() is true for.
std::string WriteNew(const std::function<std::string(int)>& getName,
                     const std::function<void(Kernel::OutStream&)>& write);

/// Whether LoadPhoto() and SavePicture() support pictures of that size.
bool IsPictureSize(std::int64_t width, std::int64_t height);
void SavePicture(const Raster::DynamicBitmap& picture, const std::string& path);

}  // namespace LearningApp
