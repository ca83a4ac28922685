#include "files/NewFiles.h"

#include "Kernel/FileStreams.h"
#include "Kernel/FileSystem.h"
#include "Kernel/IoException.h"
#include "Kernel/MemoryInOutStream.h"
#include "Raster/PNGBase.h"

#include "failures/Failure.h"
#include "files/Files.h"
#include "files/Paths.h"
#include "files/Pipes.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>

namespace LearningApp {

namespace {

/// "OUT-7.png" for "OUT.png".
std::string AddNumber(const std::string& path, int number) {
    const std::size_t dot = path.rfind('.');
    const std::size_t name = FromPath(ToPath(path).filename()).size();
    const bool hasExtension = dot != std::string::npos && dot > path.size() - name;
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

void RefuseSource(const std::string& path, const std::string& source) {
    if (!IsPipe(path) && !IsPipe(source) && Kernel::FileSystem::Exists(path) &&
        Kernel::FileSystem::Exists(source) && IsSameFile(path, source)) {
        throw WrongUse("the result would replace the photo %1: name another file", source);
    }
}

void CheckNewPictures(const std::string& output, int count, bool isForced,
                      const std::vector<std::string>& sources) {
    for (const std::string& name : NumberNames(output, count)) {
        CheckPictureTarget(name);
        std::ranges::for_each(sources, [&](const auto& source) { RefuseSource(name, source); });
        if (!isForced) {
            RefuseExisting(name);
        }
    }
}

bool HoldsPicture(const std::string& path, const Raster::DynamicBitmap& picture) {
    if (IsPipe(path) || !Kernel::FileSystem::Exists(path)) {
        return false;
    }
    try {
        const auto file = Kernel::FileInStream::Open(path);
        Kernel::MemoryInOutStream own;
        Raster::WritePNG(picture, own);
        std::vector<std::byte> other(own.GetBytes().size());
        return file->GetSize() == other.size() && file->ReadFully(other) == other.size() &&
               std::ranges::equal(own.GetBytes(), other);
    } catch (const Kernel::IoException&) {
        return false;  // it cannot be read: something else
    }
}

std::string SaveNewPicture(const Raster::DynamicBitmap& picture, const std::string& path) {
    if (IsPipe(path)) {
        SavePicture(picture, path);
        return path;
    }
    return WriteNew([&](int i) { return i == 1 ? path : AddNumber(path, i); },
                    [&](Kernel::OutStream& stream) { Raster::WritePNG(picture, stream); });
}

}  // namespace LearningApp
