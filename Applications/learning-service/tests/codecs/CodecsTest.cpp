#include "Kernel/MemoryInOutStream.h"
#include "Kernel/ZipArchive.h"

#include "codecs/PictureFiles.h"
#include "codecs/ZipFile.h"
#include "drawing/Random.h"
#include "support/MemoryText.h"

#include <gmock/gmock.h>

namespace Service {
namespace {

/// `size` bytes of any kind.
std::string MakeBytes(std::size_t size) {
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) {
        bytes += static_cast<char>(Scramble(i * 1000 + size));
    }
    return bytes;
}

TEST(ZipFile, IsReadAsAnArchive) {
    const std::vector<std::pair<std::string, std::string>> files{
        {"color.jpg", MakeBytes(70'000)}, {"alpha.png", ""}, {"c", "x"}};
    const std::string bytes = MakeZipFile(files);
    const auto view = std::as_bytes(std::span(bytes));
    const Kernel::ZipArchive archive(Kernel::MakeCounted<Kernel::MemoryInOutStream>(
        std::vector<std::byte>(view.begin(), view.end())));
    EXPECT_EQ(archive.GetEntryCount(), 3);
    for (const auto& [name, content] : files) {
        std::string read(content.size() + 1, '\0');
        read.resize(archive.Open(name)->ReadFully(std::as_writable_bytes(std::span(read))));
        EXPECT_TRUE(read == content) << name;
    }
}

TEST(PictureFiles, AreReadOnlyIfTheyAreWholeAndOfTheRightKind) {
    const PicturePointer picture = MakePicture(40, 30);
    ChangeColours(*picture, [](Colour, int x, int y) {
        return Colour{static_cast<float>(x) / 40, static_cast<float>(y) / 30, 0.5F};
    });
    const std::string jpeg = WriteJPEG(*picture, 95);
    const std::string png = WritePNG(*picture);
    const PicturePointer read = ReadPicture(png, PictureKinds::JPEGAndPNG);
    ASSERT_TRUE(read);
    for (int i = 0; i < 30; ++i) {
        const auto* const got = GetPixel(std::as_const(*read).GetHostView(), i, i);
        const auto* const put = GetPixel(std::as_const(*picture).GetHostView(), i, i);
        EXPECT_THAT(std::vector(got, got + 4), testing::ElementsAre(put[0], put[1], put[2], 255));
    }
    EXPECT_TRUE(ReadPicture(jpeg, PictureKinds::JPEG));
    EXPECT_FALSE(ReadPicture(png, PictureKinds::JPEG));
    for (const std::string& whole : {jpeg, png}) {
        for (std::size_t size = 0; size < whole.size() - 20; size += 13) {
            EXPECT_FALSE(ReadPicture(whole.substr(0, size), PictureKinds::JPEGAndPNG)) << size;
        }
    }
    std::string huge = jpeg;  // 65,500 x 65,500, as its header says
    const std::size_t frame = huge.find("\xFF\xC0");
    huge.replace(frame + 5, 4, "\xFF\xDC\xFF\xDC");
    EXPECT_FALSE(ReadPicture(huge, PictureKinds::JPEG));
    EXPECT_FALSE(ReadPicture("GIF89a", PictureKinds::JPEGAndPNG));
}

}  // namespace
}  // namespace Service
