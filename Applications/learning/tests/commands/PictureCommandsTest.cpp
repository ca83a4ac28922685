// The commands that have the inference service make pictures.

#include "Raster/PixelAccessor.h"

#include "commands/ObjectDocument.h"
#include "support/ZipBuilder.h"
#include "tests/WithPictureService.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace LearningApp {
namespace {

using Kernel::Json::Value;
using testing::AllOf;
using Testing::Blue;
using Testing::Green;
using testing::HasSubstr;
using testing::IsEmpty;
using Testing::Outcome;
using Testing::Photo;
using Testing::Red;

using PictureCommands = Testing::WithPictureService;

TEST_F(PictureCommands, GenerateWithAllThatCanBeSaid) {
    const std::vector<std::string> command{
        "generate", "a",        "cat",     "-o",          At("out.png"), "-n",
        "2",        "--model",  "maker",   "--aspect",    "3",           "--negative",
        "no dog",   "--style",  "Pop-Art", "--reference", m_photo,       "--reference-use",
        "face",     "--enhance"};
    const Outcome outcome = Call(command);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.code, 0);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("out-2.png\n"), HasSubstr("\na fat cat\n")));
    EXPECT_EQ(Testing::GetPixel(Testing::LoadResult(At("out-1.png")), 5, 5), Green);
    EXPECT_EQ(ReadPicture("out-1.png"), ReadPicture("out-2.png"));
    EXPECT_THAT(GetJobs(), IsEmpty());
    const Value& body = m_bodies["textToImageAsync"].back();
    for (const auto& [key, value] : std::initializer_list<std::pair<const char*, Value>>{
             {"prompt", "a cat"},
             {"negativeprompt", "no dog"},
             {"model", "maker"},
             {"aspect", 3},
             {"num_images", 2},
             {"enhanceprompt", "YES"},
             {"style", "35baad12-eede-4655-ad20-fd97bf674beb"},
             {"guidance_type", "FaceTransfer"}}) {
        EXPECT_EQ(body[key], value) << key;
    }
    EXPECT_TRUE(body.contains("guidance_image"));

    const std::size_t sent = CountSent();
    EXPECT_THAT(Call(command).err, HasSubstr("out-1.png is there already"));
    EXPECT_EQ(CountSent(), sent);
    std::vector<std::string> forced = command;
    forced.emplace_back("--force");
    m_green = MakePNG(9, 9, [](int, int) { return Red; });
    EXPECT_EQ(Call(forced).code, 0);
    EXPECT_EQ(ReadPicture("out-2.png"), ReadPicture("out-1.png"));
    EXPECT_EQ(Testing::GetPixel(Testing::LoadResult(At("out-2.png")), 5, 5), Red);

    // More than was asked for: beside it, and over nothing.
    m_result = R"({"images":[)" + Quote("a.png") + "," + Quote("b.png") + "]}";
    MakeFile("one-2.png", "mine");
    EXPECT_EQ(Call({"generate", "x", "-q", "-o", At("one.png")}).out, "");
    EXPECT_EQ(ReadOnly("one-2.png"), "mine");
    EXPECT_EQ(ReadPicture("one-3.png"), ReadPicture("one.png"));
    EXPECT_FALSE(m_bodies["textToImageAsync"].back().contains("guidance_image"));
}

TEST_F(PictureCommands, RefuseBeforeAnythingIsPaid) {
    const std::string out = At("out.png");
    const std::string object = MakeCutOut();
    const std::string small = MakePhoto(9, 9, [](int, int) { return Red; });
    MakeFile("there.png", "");
    const struct {
        std::vector<std::string> arguments;
        const char* message;
        int code = 2;
    } cases[] = {
        {{"generate", "x"}, "--output is required"},
        {{"generate", "-o", out}, "PROMPT is required"},
        {{"generate", "x", "-o", At("out.jpg")}, "end in .png"},
        {{"generate", "x", "-o", At("there.png")}, "there.png is there already"},
        {{"generate", "x", "-o", "-", "-n", "2"}, "do not fit into the standard output"},
        {{"generate", "x", "-o", out, "-n", "0"}, "0 is not a whole number from 1 to 100"},
        {{"generate", "x", "-o", out, "-n", "4"}, "maker makes 3 pictures at most"},
        {{"generate", "x", "-o", out, "--model", "makr"}, "no model makr for this; did you mean"},
        {{"generate", "x", "-o", out, "--style", "pop"},
         "did you mean pop-art?\nThe styles are 3d"},
        {{"generate", "x", "-o", out, "--aspect", "-1"}, "-1 is not a whole number from 0 to "},
        {{"generate", "x", "-o", out, "--aspect", "99999999999"}, "99999999999 is not a whole "},
        {{"generate", "x", "-o", out, "--aspect", "1", "--model", "plain"}, "plain knows no asp"},
        {{"generate", "x", "-o", out, "--enhance", "--model", "plain"}, "plain enhances no pr"},
        {{"generate", "x", "-o", out, "--reference", m_photo, "--model", "plain"}, "takes no ref"},
        {{"generate", "x", "-o", out, "--reference", "none.png"}, "none.png", 1},
        {{"generate", "x", "-o", out, "--reference-use", "face"}, "--reference alone"},
        {{"edit", m_photo, "x", "-o", out, "--model", "maker"}, "no model maker for this"},
        {{"edit", m_photo, "x", "-o", m_photo, "--force"}, "would replace the photo"},
        {{"edit", m_photo, "x", "-o", out, "--alpha", "none"}, "--alpha"},
        {{"edit", m_photo, "-o", out}, "PROMPT is required"},
        {{"remove-background", m_photo, "-o", At("there.png")}, "there.png is there already"},
        {{"remove-background", m_photo, small, "-o", At("t{}")}, "tphoto end in .png", 1},
        {{"replace-object", m_photo, "x", "-o", out}, "--object is required"},
        {{"replace-object", m_photo, "x", "-o", out, "--object", small}, "9 x 9 pixels", 1},
        {{"replace-object", m_photo, "x", "-o", object, "--object", object, "--force"}, "replace"},
        {{"replace-object", m_photo, "x", "-o", out, "--object", m_photo}, "is no cut-out", 1},
        {{"replace-object", m_photo, "x", "-o", out, "--object", object, "--strength", "nan"},
         "nan is not a number from 0 to 1\n"},
        {{"replace-object", m_photo, "x", "-o", out, "--object", object, "--strength", "0.5",
          "--prepare"},
         "--prepare is for"},
        {{"resume", "J"}, "there is no job J in the journal"},
        {{"jobs", "--forget", "J"}, "there is no job J in the journal"},
    };
    for (const auto& [arguments, message, code] : cases) {
        const Outcome outcome =
            arguments.front() == "jobs" ? Testing::Run(arguments) : Call(arguments);
        EXPECT_EQ(outcome.code, code) << message;
        EXPECT_THAT(outcome.err, HasSubstr(message));
    }
    EXPECT_THAT(m_bodies, IsEmpty());
    SetStateFolder(MakeFile("no folder", ""));
    EXPECT_THAT(Call({"generate", "x", "-o", out}).err, HasSubstr("no folder/orvantis/jobs"));
    EXPECT_THAT(m_bodies, IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(Support::ToPath(out)));
}

TEST_F(PictureCommands, RemoveBackgroundsOfMany) {
    m_replies["removeBackgroundInit"] = R"({"upload_id":"U","upload_url":)" + Quote("slot") + "}";
    m_replies["removeBackgroundComplete"] = R"({"download_url":)" + Quote("cut.zip") + "}";
    const std::string alpha = MakePNG(64, 48, [](int x, int) {
        return x < 32 ? std::array{255, 255, 255, 255} : std::array{0, 0, 0, 255};
    });
    m_archive = Support::MakeZip({{"color.jpg", m_green}, {"alpha.png", alpha}});
    const std::string other = MakePhoto(64, 48, [](int, int) { return Red; });
    const Outcome outcome =
        Call({"remove-background", m_photo, "none.png", other, "--output-folder", At("cut")});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.err, HasSubstr("1 of 3 photos failed"));
    EXPECT_EQ(Support::GetNames(At("cut")), (std::set<std::string>{"blue.png", "photo.png"}));
    const Photo cut = Testing::LoadResult(At("cut/blue.png"));
    EXPECT_EQ(Testing::GetPixel(cut, 5, 5), Green);
    EXPECT_EQ(Testing::GetPixel(cut, 50, 5)[3], 0);
    EXPECT_THAT(GetJobs(), IsEmpty());
    m_replies["removeBackgroundInit"] = R"({"error":"CREDITS_INSUFFICIENT"})";
    const std::size_t asked = m_bodies["removeBackgroundInit"].size();
    EXPECT_EQ(Call({"remove-background", m_photo, other, "-o", At("{}-new.png")}).code, 1);
    EXPECT_EQ(m_bodies["removeBackgroundInit"].size(), asked + 1) << "the next would fail, too";
}

TEST_F(PictureCommands, ReplaceTheObjectAndNothingElse) {
    const std::string object = MakeCutOut();
    m_green = MakePNG(544, 544, [](int, int) { return Green; });
    const std::vector<std::string> command{"replace-object", m_photo, "a",        "dog",
                                           "--object",       object,  "--expand", "-o"};
    std::vector<std::string> kept = command;
    std::erase(kept, "--expand");
    kept.push_back(At("kept.png"));
    EXPECT_EQ(Call(kept).code, 0);
    const Photo result = Testing::LoadResult(At("kept.png"));
    for (int y = 0; y < 48; ++y) {
        for (int x = 0; x < 64; ++x) {
            const bool isInside = x >= 20 && x < 30 && y >= 20 && y < 30;
            ASSERT_EQ(Testing::GetPixel(result, x, y), isInside ? Green : Blue) << x << ' ' << y;
        }
    }
    const Value plain = m_bodies["imageObjectReplacementAsync"].back();
    EXPECT_EQ(plain["expand"], false);
    EXPECT_EQ(plain["strength"], 1.0);
    std::vector<std::string> expanded = command;
    expanded.insert(expanded.end(), {At("whole.png"), "--prepare", "-n", "1"});
    EXPECT_EQ(Call(expanded).code, 0);
    EXPECT_EQ(Testing::GetPixel(Testing::LoadResult(At("whole.png")), 2, 2), Green);
    const Value& prepared = m_bodies["imageObjectReplacementAsync"].back();
    EXPECT_EQ(prepared["expand"], true);
    EXPECT_NE(prepared["image"], plain["image"]);
    EXPECT_EQ(prepared["mask"], plain["mask"]);
}

TEST(ObjectDocument, LetsWhatIsAroundGrowOverTheObject) {
    using Raster::DynamicBitmap;
    const auto paint = [](const Testing::Paint& colour) {
        auto picture = Kernel::MakeCounted<DynamicBitmap>(700, 600);
        const Raster::PixelView view = picture->GetHostView();
        for (int y = 0; y < 600; ++y) {
            for (int x = 0; x < 700; ++x) {
                std::ranges::transform(colour(x, y), view.At(x, y),
                                       [](int value) { return static_cast<std::byte>(value); });
            }
        }
        return picture;
    };
    const auto isObject = [](int x, int y) { return x >= 300 && x < 400 && y >= 250 && y < 350; };
    const auto photo = paint([&](int x, int y) {
        return isObject(x, y) ? Red : x < 350 ? Green : Blue;
    });
    const auto object = paint([&](int x, int y) {
        return isObject(x, y) ? Red : std::array{0, 0, 0, 0};
    });
    const ObjectDocument document(photo, object, false);
    auto region = Kernel::MakeCounted<DynamicBitmap>(512, 512);  // from (94, 44) on
    DynamicBitmap mask(512, 512, Raster::Format::Alpha8);
    for (int y = 206; y < 306; ++y) {
        std::fill_n(mask.GetHostView().At(206, y), 100, std::byte{255});
    }
    document.PrepareRegion(*region, mask);
    for (const auto& [x, y] : {std::pair(10, 10), {205, 256}, {255, 205}}) {
        EXPECT_EQ(Testing::GetPixel(region, x, y), Green) << x;
    }
    EXPECT_EQ(Testing::GetPixel(region, 306, 256), Blue);
    for (const int x : {206, 230, 256, 281, 305}) {
        const auto [red, green, blue, alpha] = Testing::GetPixel(region, x, 256);
        EXPECT_EQ(red, 0) << x;
        EXPECT_EQ(alpha, 255);
        EXPECT_NEAR(green + blue, 255, 2);
        EXPECT_EQ(green > blue, x < 256) << x;
    }
}

TEST_F(PictureCommands, ShowHowFarTheyAreOnATerminal) {
    for (const bool isQuiet : {false, true}) {
        std::ostringstream out;
        std::ostringstream err;
        std::vector<std::string> command{
            "--models", TEST_MODELS,   "generate", "x",
            "-o",       At("out.png"), "--force",  isQuiet ? "-q" : "--timing"};
        EXPECT_EQ(RunLearning(AddPlace(command), out, err, true), 0);
        if (isQuiet) {
            EXPECT_EQ(out.str() + err.str(), "");
            continue;
        }
        for (const char* const shown :
             {"generate [....", "0%  sending", "%  waiting", "%  polling 1 of 20", "%  downloading",
              "#] 100%", "\r\x1B[K"}) {
            EXPECT_THAT(err.str(), HasSubstr(shown));
        }
        EXPECT_THAT(out.str() + err.str(), AllOf(HasSubstr("wrote "), HasSubstr("\nrequest ")));
    }
}

}  // namespace
}  // namespace LearningApp
