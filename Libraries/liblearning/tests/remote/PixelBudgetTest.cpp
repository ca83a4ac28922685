// How many pixels the pictures of one call may have.

#include "remote/jobs/ServiceJob.h"
#include "remote/removebackground/CutOut.h"
#include "support/ZipBuilder.h"
#include "tests/remote/PictureService.h"

namespace Learning {
namespace {

using PixelBudgets = PictureTest;

TEST_F(PixelBudgets, CountForAllPicturesOfACall) {
    m_files = {{"a", MakePNG(*MakePicture(10, 10, 0xFF))},
               {"b", MakeJPEG(*MakePicture(20, 10, 0xFF))},
               {"c", MakePNG(*MakePicture(30, 10, 0xFF)).substr(0, 60)},  // damaged, but counts
               {"d", "no picture"}};
    const struct {
        std::uint64_t pixels;
        std::vector<std::string> indices;  // the files of each
        std::vector<int> widths;
    } cases[] = {
        {99, {"a"}, {}},          {100, {"a"}, {10}},          {100, {"aa"}, {10}},
        {100, {"da", "a"}, {10}}, {299, {"ab"}, {10}},         {300, {"ab"}, {10, 20}},
        {299, {"a", "b"}, {10}},  {300, {"b", "a"}, {20, 10}}, {299, {"aba"}, {10, 10}},
        {399, {"ca"}, {}},        {400, {"c", "a"}, {10}},
    };
    for (const auto& [pixels, indices, widths] : cases) {
        ServiceJob job(
            TextToImagePolling, "J", [] { return Value::object(); }, PixelBudget(pixels));
        std::vector<int> taken;
        for (std::size_t i = 0; i < indices.size(); ++i) {
            std::string files;
            for (const char file : indices[i]) {
                files += (files.empty() ? "" : ",") + Quote(std::string(1, file));
            }
            m_polls = {R"({"images":[)" + files + "]}"};
            job.Fetch(static_cast<int>(i),
                      [&](const Picture& picture) { taken.push_back(picture->GetWidth()); });
        }
        EXPECT_EQ(taken, widths) << pixels << testing::PrintToString(indices);
    }
}

TEST_F(PixelBudgets, CountForBothPicturesOfACutOut) {
    const std::string zip =
        Support::MakeZip({{"color.jpg", MakeJPEG(*MakePicture(40, 40, 0xFF))},
                          {"alpha.png", MakePNG(*MakePicture(40, 40, 0x808080FF))}});
    for (const std::uint64_t pixels : {1599U, 1600U, 3199U, 3200U}) {
        const auto bytes = std::as_bytes(std::span(zip));
        const auto archive = Kernel::MakeCounted<Kernel::MemoryInOutStream>(
            std::vector<std::byte>(bytes.begin(), bytes.end()));
        EXPECT_EQ(ReadCutOut(archive, 40, 40, PixelBudget(pixels)) != nullptr, pixels == 3200);
    }
}

TEST_F(PixelBudgets, AreWhatOneFileMayHave) {
    PixelBudget budget;
    const std::tuple<int, int, bool> takes[] = {{65'535, 65'535, false}, {16'385, 16'384, false},
                                                {16'384, 16'383, true},  {16'385, 1, false},
                                                {1, 16'384, true},       {1, 1, false}};
    for (const auto& [width, height, isTaken] : takes) {
        EXPECT_EQ(budget.Take(width, height), isTaken) << width << ' ' << height;
    }
}

}  // namespace
}  // namespace Learning
