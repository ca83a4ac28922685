// Words that a user copies into a shell: the program gets each as it was.

#include "support/System.h"
#include "terminal/ShellWords.h"
#include "tests/LearningProgram.h"

#include <gmock/gmock.h>

namespace LearningApp {
namespace {

TEST(ShellWords, ComeBackFromTheShell) {
    const std::string start = QuoteForShell(LEARNING_PROGRAM) + " describe ";
    for (const std::string word :
         {"plain-1.0_x", "C:/a/b.png", "two words", "it's", "a&b|c", "(x)<y>", "größe 测试 😀",
          "a,b;c", "back\\slash", "at the end\\", "{}-new", "#x", "^x", "~x", "a\"&echo b&rem \"",
          "$HOME", "%OS%", "`ls`", "!x"}) {
        if (!CanBeQuoted(word)) {
            EXPECT_TRUE(Support::IsWindows);
            continue;
        }
        const Testing::Outcome outcome = Support::RunProcess(
            {.line = start + QuoteForShell(word), .environment = {{"LC_ALL", "C"}}});
        EXPECT_EQ(outcome.code, 1) << word;
        EXPECT_THAT(outcome.err, testing::HasSubstr("no network " + word + ", neither")) << word;
    }
}

}  // namespace
}  // namespace LearningApp
