#include "files/Files.h"

#include "Kernel/AtomicFileOutStream.h"
#include "Kernel/FileSystem.h"
#include "Kernel/IoException.h"
#include "Raster/DynamicFile.h"
#include "Raster/PNGBase.h"

#include "failures/Failure.h"
#include "files/Paths.h"
#include "files/PhotoColours.h"
#include "files/PictureKinds.h"
#include "files/Pipes.h"
#include "files/Source.h"
#include "files/SystemNames.h"
#include "terminal/Interruption.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <new>
#include <system_error>

namespace LearningApp {

namespace {

/// Passes everything on, and ends the writing when the user wants it to end.
class InterruptibleOutStream final : public Kernel::OutStream {
public:
    InterruptibleOutStream(Kernel::OutStream& target, const Interruption& interruption)
        : m_target(target), m_interruption(interruption) {}

    void Write(std::span<const std::byte> bytes) override {
        m_interruption.Check();
        m_target.Write(bytes);
    }

private:
    Kernel::OutStream& m_target;
    const Interruption& m_interruption;
};

/// Lets `write` fill the file.
void FillFile(Kernel::OutStream& file, const Interruption& interruption,
              const std::function<void(Kernel::OutStream&)>& write) {
    const auto checked = Kernel::MakeCounted<InterruptibleOutStream>(file, interruption);
    write(*checked);
    interruption.Check();
}

/// Why `file` was not read from `source`, with a remedy where there is one.
std::string ExplainRefusal(const Source& source, const Raster::DynamicFile& file) {
    if (source.GetStart().empty()) {
        return "it is empty";
    }
    const char* const kind = FindPictureKind(source.GetStart());
    return kind == nullptr
               ? file.GetError().c_str()
               : std::string("it is ") + kind +
                     ", and only JPEG, PNG, TIFF and WebP can be read: convert it to one of them";
}

/// A PNG file, which is what results are, has no CMYK.
Raster::Format ChooseFormat(const Raster::DynamicFile& file, PhotoUse use) {
    const Raster::Format format = file.GetFormat();
    const bool isKept = format == Raster::Format::RGBA8 || format == Raster::Format::RGBA16 ||
                        (IsGrey(format) && use == PhotoUse::AsItIs);
    return isKept ? format : WithColours(format);
}

/// Whether the photo, in `format`, can have the profile of its file, if that has one.
bool CanKeepProfile(const Raster::DynamicFile& file, Raster::Format format) {
    const auto profile = file.GetProfile();
    const bool isFitting = !profile || format == file.GetFormat() ||
                           profile->GetColourSpace() == Raster::ColourSpace::RGB;
    return isFitting && FindColours(profile);
}

}  // namespace

Kernel::Counted<Raster::DynamicBitmap> MakePicture(int width, int height, Raster::Format format) {
    try {
        return Kernel::MakeCounted<Raster::DynamicBitmap>(width, height, format);
    } catch (const std::bad_alloc&) {
        throw Failure("there is not enough memory for a picture of %1 x %2 pixels", width, height);
    }
}

bool IsGrey(Raster::Format format) noexcept {
    return format == Raster::Format::GreyA8 || format == Raster::Format::GreyA16;
}

Raster::Format WithColours(Raster::Format format) noexcept {
    return Raster::GetPixelFormat(format).sampleSize == 1 ? Raster::Format::RGBA8
                                                          : Raster::Format::RGBA16;
}

Kernel::Counted<Raster::DynamicBitmap> LoadPhoto(Source& source, PhotoUse use) {
    Raster::DynamicFile file;
    if (!file.CreateFromStream(source)) {
        throw Failure("cannot read the photo %1: %2", source.GetName(),
                      ExplainRefusal(source, file));
    }
    auto photo = MakePicture(file.GetWidth(), file.GetHeight(), ChooseFormat(file, use));
    if (!CanKeepProfile(file, photo->GetFormat())) {
        photo->SetProfile(GetNetworkProfile());
    }
    if (!file.ReadPixels(*photo)) {
        throw Failure("cannot read the photo %1: %2", source.GetName(), file.GetError());
    }
    return photo;
}

Kernel::Counted<Raster::DynamicBitmap> LoadPhoto(const std::string& path, PhotoUse use) {
    return LoadPhoto(*Source::Open(path), use);
}

bool HasExtension(std::string_view path, std::string_view extension) {
    const auto isSame = [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == b;
    };
    return path.size() > extension.size() &&
           std::ranges::equal(path.substr(path.size() - extension.size()), extension, isSame);
}

void CheckPictureTarget(const std::string& path) {
    if (!IsPipe(path) && !HasExtension(path, ".png")) {
        throw WrongUse("the result is a PNG picture: let the name %1 end in .png", path);
    }
    CheckTarget(path);
}

void CheckTarget(const std::string& path) {
    if (IsPipe(path)) {
        CheckPipeTarget(path);  // not opened before it is used: its reader would see that
        return;
    }
    const std::string folder = FromPath(ToPath(path).parent_path());
    if (!folder.empty() && !IsFolder(folder)) {
        throw Failure("cannot write %1: its folder is not there", path);
    }
    const Kernel::FileSystem::Status target = Kernel::FileSystem::Examine(path);
    if (target.kind == Kernel::FileSystem::Status::Kind::Folder) {
        throw Failure("cannot write %1: that is a folder", path);
    }
    if (const std::string fault = FindNameFault(path); !fault.empty()) {
        throw Failure("cannot write %1: %2", path, fault);
    }
    // What is written first has a name of its own, which may be shorter.
    if (target.error) {
        throw Failure("cannot write %1: %2", path, Kernel::DescribeError(target.error));
    }
    const Interruption interruption;
    try {
        // Not committed: only checks that it can be created.
        Kernel::AtomicFileOutStream::CreateSuccessor(path);
    } catch (const Kernel::IoException& exception) {
        throw Failure("cannot write %1: %2", path, exception.what());
    }
    interruption.Check();
}

std::string MakeAbsolute(const std::string& path) {
    if (path.empty() || IsStandardStream(path)) {
        return path;
    }
    return std::string(std::string_view(Kernel::FileSystem::GetAbsolutePath(path)));
}

std::string Locate(const std::string& path) {
    namespace fs = Kernel::FileSystem;
    return FoldCase(std::string(std::string_view(fs::GetCanonicalPath(fs::FollowLinks(path)))));
}

bool IsSameFile(const std::string& left, const std::string& right) {
    std::error_code missing;
    return Locate(left) == Locate(right) ||
           std::filesystem::equivalent(ToPath(left), ToPath(right), missing);
}

void CreateFolder(const std::string& path) {
    if (Kernel::FileSystem::CreateDirectoryRecursive(path)) {
        return;
    }
    std::error_code error;  // which tells why, and fails as well
    std::filesystem::create_directories(ToPath(path), error);
    if (error) {
        throw Failure("cannot create the folder %1: %2", path, Kernel::DescribeError(error));
    }
}

void WriteWhole(const std::string& path, const std::function<void(Kernel::OutStream&)>& write) {
    if (IsPipe(path)) {
        const auto pipe = CreatePipe(path);
        write(*pipe);
        pipe->Flush();
        return;
    }
    const Interruption interruption;  // so that no temporary file stays
    const auto file = Kernel::AtomicFileOutStream::CreateSuccessor(path);
    FillFile(*file, interruption, write);
    file->Commit();
}

std::string WriteNew(const std::function<std::string(int)>& getName,
                     const std::function<void(Kernel::OutStream&)>& write) {
    const Interruption interruption;
    std::string name = getName(1);
    const auto file = Kernel::AtomicFileOutStream::Create(name);
    FillFile(*file, interruption, write);
    for (int i = 2; !file->CommitNew(name); ++i) {
        name = getName(i);
    }
    return name;
}

bool IsPictureSize(std::int64_t width, std::int64_t height) {
    constexpr std::int64_t MaximumSide = Raster::DynamicFile::MaximumSide;
    constexpr std::int64_t MaximumCount = Raster::DynamicFile::MaximumPixelCount;
    return width > 0 && width <= MaximumSide && height > 0 && height <= MaximumSide &&
           width * height <= MaximumCount;
}

void SavePicture(const Raster::DynamicBitmap& picture, const std::string& path) {
    WriteWhole(path, [&picture](Kernel::OutStream& stream) { Raster::WritePNG(picture, stream); });
}

}  // namespace LearningApp
