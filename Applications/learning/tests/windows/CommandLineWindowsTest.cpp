// What only Windows has: names in upper and lower case that mean one file, drives, separators of
// two kinds, and names that mean devices.

#include "tests/LearningProgram.h"

#include <gmock/gmock.h>

namespace LearningApp {
namespace {

using testing::HasSubstr;
using Testing::Outcome;

using CommandLine = Testing::WithGreyPhoto;

TEST_F(CommandLine, KnowsOneFileByTheNamesThatWindowsGivesIt) {
    const std::string photo = MakeGreyPhoto();
    std::string turned = At("NEW.npy");
    std::ranges::replace(turned, '/', '\\');
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"depth", photo, At("PHOTO.PNG"), "--output-folder", At("")}, "would replace the photo"},
        {{"depth", photo, At("Photo.jpg"), "-o", At("{}2.png")}, "would both be"},
        {{"run", TEST_MODELS "Enlarge.onnx", "--output", "a:1=" + turned, "--output",
          "b:1=" + At("new.NPY")},
         "would take the place of"},
    };
    for (const auto& [arguments, message] : cases) {
        const Outcome outcome = Testing::Run(arguments);
        EXPECT_EQ(outcome.code, 2) << message;
        EXPECT_THAT(outcome.err, HasSubstr(message));
    }
}

TEST_F(CommandLine, RefusesNamesThatWindowsHasNot) {
    const std::string photo = MakeGreyPhoto();
    for (const char* const name : {"con.png", "NUL.png", "a?.png", "a:b.png", "a|.png"}) {
        const Outcome outcome = Testing::Run({"depth", photo, "-o", At(".") + "/" + name});
        EXPECT_EQ(outcome.code, 1) << name;
        EXPECT_THAT(outcome.err, HasSubstr("Windows")) << name;
    }
    EXPECT_EQ(Testing::Run({"depth", photo, "-o", "NUL"}).code, 0);
    EXPECT_THAT(GetFiles(), testing::ElementsAre("photo.png"));
}

TEST_F(CommandLine, FindsTheFilesThatAPatternMeans) {
    std::filesystem::rename(Support::ToPath(MakeGreyPhoto()), Support::ToPath(At("ä-😀.png")));
    MakeGreyPhoto();
    const Outcome outcome = Testing::RunProgram(
        {"--models", TEST_MODELS, "depth", "*.png", "--output-folder", "深"}, {.folder = At("")});
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_THAT(Support::GetNames(At("深")), testing::ElementsAre("photo.png", "ä-😀.png"));
}

}  // namespace
}  // namespace LearningApp
