#include "help/HelpOperation.h"
#include "search/Words.h"
#include "support/Threads.h"
#include "tests/ContentText.h"
#include "tests/EnvelopeText.h"

#include <gmock/gmock.h>

namespace Service {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

class Help : public testing::Test {
protected:
    std::string Ask(const std::string& prompt, const std::string& session = "") const {
        const Response response = m_help.Handle(
            Testing::MakePost(Testing::MakeEnvelope({{"prompt", prompt}, {"session", session}})),
            "");
        EXPECT_EQ(response.status, 200) << prompt;
        return Testing::GetText(response.body);
    }

    const Credentials m_credentials;
    Conversations m_conversations;
    const HelpOperation m_help{m_credentials, m_conversations};
};

constexpr const char* Nothing = "The user guide has nothing that fits";

TEST_F(Help, FindsTheSectionThatAnswersAQuestion) {
    const std::pair<const char*, std::vector<const char*>> cases[] = {
        {"Sharpening and",
         {"How do I sharpen a photograph?", "make my image bigger", "My picture is BLURRY!",
          "my photo is too small to print",
          "Can I upscale a small picture without losing quality?"}},
        {"Cutting out",
         {"How can I remove the background of a wedding portrait?", "select an object",
          "I'd like to cut out a dog", "transparent background"}},
        {"Finding out how near", {"depth map", "How far away is the house?"}},
        {"Colourising",
         {"colorize black and white photos", "Can I add colour to grandma's old photo?",
          "colourisation"}},
        {"Many photographs", {"Can I process a whole folder of photos in one batch?"}},
        {"Pipes", {"Does it read from stdin?", "what are the exit codes"}},
        {"Which files", {"Which formats can be opened?", "Can it read TIFF files?"}},
        {"Downloading", {"How do I install the networks?", "download a model"}},
        {"Where files go", {"Where are my networks stored on disk?"}},
        {"Privacy",
         {"Are my pictures uploaded to the cloud?", "does it work offline",
          "do you keep my photos"}},
        {"Speed", {"Why is it so slow?", "Can it use my GPU?"}},
        {"When something", {"It fails with an error message", "The certificate is not trusted"}},
        {"Asking", {"Where is the manual?", "list all commands"}},
        {"Generating", {"Can I generate an image from text?", "What does Halcyon Prime cost?"}},
        {"Using a network", {"Can I run my own ONNX file?"}},
        {Nothing,
         {"", "?!", "the", "What is the capital of France?", "bake a cake", "\xC3\xA4\xC3\xB6",
          "Will it rain on my photos tomorrow in Paris?"}},
    };
    for (const auto& [start, questions] : cases) {
        for (const char* const question : questions) {
            EXPECT_THAT(Ask(question), StartsWith(start)) << question;
        }
    }
}

TEST_F(Help, AnswersInParagraphs) {
    const std::string answer = Ask("sharpen");
    EXPECT_THAT(answer, StartsWith("Sharpening and enlarging a photograph\n\nSuper-resolution "));
    EXPECT_THAT(answer,
                testing::HasSubstr("\n\nlearning super-resolve small.png -o large.png\n\n"));
    EXPECT_EQ(answer.find("<!--"), std::string::npos);
    EXPECT_EQ(answer.find("\n\n\n"), std::string::npos);
    EXPECT_THAT(Ask("xyz"), testing::HasSubstr("; Many photographs at once; "));
}

TEST_F(Help, TakesTheQuestionBeforeIntoAccount) {
    EXPECT_THAT(Ask("How do I sharpen a photo?", "a"), StartsWith("Sharpening"));
    EXPECT_THAT(Ask("and how?", "a"), StartsWith("Sharpening"));
    EXPECT_THAT(Ask("and how?", "b"), StartsWith(Nothing));
    EXPECT_THAT(Ask("and how?"), StartsWith(Nothing));
    EXPECT_THAT(Ask("and for many?", "a"), StartsWith("Many"));
    EXPECT_THAT(Ask("how?", "a"), StartsWith("Many"));
    const std::string longName(10'000, 'x');
    Ask("sharpen", longName);
    EXPECT_THAT(Ask("how?", longName), StartsWith(Nothing));
}

TEST_F(Help, ForgetsTheSessionThatWasSilentLongest) {
    Ask("sharpen", "old");
    Ask("sharpen", "busy");
    for (int i = 0; i < 999; ++i) {
        Ask("depth", std::to_string(i));
        Ask("how?", "busy");
    }
    EXPECT_THAT(Ask("how?", "busy"), StartsWith("Sharpening"));
    EXPECT_THAT(Ask("how?", "0"), StartsWith("Finding"));
    EXPECT_THAT(Ask("how?", "old"), StartsWith(Nothing));
}

TEST_F(Help, IsGivenToManyAtATime) {
    Support::RunOnThreads(4, [&](int i) {
        for (int k = 0; k < 200; ++k) {
            const std::string own = std::to_string(i) + ',' + std::to_string(k);
            Ask("sharpen", own);
            Ask("depth", "shared");
            EXPECT_THAT(Ask("how?", own), StartsWith("Sharpening"));
        }
    });
}

TEST_F(Help, SurvivesLongQuestions) {
    std::string question;
    for (int i = 0; i < 60'000; ++i) {
        question += "word" + std::to_string(i) + ' ';
    }
    EXPECT_THAT(Ask(question + "depth"), StartsWith(Nothing));
    EXPECT_THAT(Ask("depth " + std::string(500'000, 'x')), StartsWith("Finding"));
}

TEST(Words, AreTheSameInAllForms) {
    const std::vector<const char*> cases[] = {
        {"sharpen", "Sharpening", "sharpens", "SHARPENED"},
        {"enlarge", "enlarging", "enlargement", "enlarged"},
        {"colour", "colors"},
        {"colourise", "colorize", "colourising", "Colorized", "colourisation", "colorization"},
        {"segment", "segmentation", "segmenting"},
        {"generate", "generation", "generating"},
        {"cut", "cutting", "cuts"},
        {"copy", "copies"},
        {"picture", "photographs", "images", "photos"},
    };
    for (const auto& forms : cases) {
        for (const char* const form : forms) {
            EXPECT_EQ(FindWords(form, 9), FindWords(forms.front(), 9)) << form;
        }
    }
    EXPECT_THAT(FindWords("The process isn't a bus-stop: \xC3\xA4h 42 x", 9),
                ElementsAre("process", "isn", "bus", "stop", "\xC3\xA4h", "42"));
    EXPECT_THAT(FindWords("one two three", 2), ElementsAre("one", "two"));
}

}  // namespace
}  // namespace Service
