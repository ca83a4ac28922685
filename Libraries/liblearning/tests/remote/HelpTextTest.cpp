#include "remote/help/HelpText.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>

namespace Learning {
namespace {

using namespace std::string_literals;

TEST(HelpText, IsCleanedStepByStep) {
    const struct {
        std::string answer;
        std::string text;
    } cases[] = {
        {"", ""},
        {" \t\n\v\f\r ", ""},
        {R"(one\ntwo)", "one\ntwo"},
        {R"(one\r\ntwo)", "one\ntwo"},
        {"one\\r\ntwo", "one\ntwo"},
        {"one\r\\ntwo", "one\ntwo"},
        {R"(\\n)", "\\"},  // what follows a backslash is taken, too
        {"A\r\n\r\n\r\n\r\nB", "A\n\nB"},
        {"one\rtwo\n\r", "one\rtwo"},
        {"\xC2\xA0 one \xC2\xA0", "\xC2\xA0 one \xC2\xA0"},  // not white space here
        {"\0one\0two\0"s, "\0one\0two\0"s},
        {" bad \xFF\xC3 ", "bad \xFF\xC3"},
    };
    for (const auto& [answer, text] : cases) {
        EXPECT_EQ(CleanHelpText(answer), std::string_view(text)) << answer;
    }
    const std::size_t lengths[] = {0, 1, 2, 2, 2, 2, 3, 4, 3, 4, 4, 5, 4};
    for (std::size_t length = 0; length < std::size(lengths); ++length) {
        EXPECT_EQ(CleanHelpText("A" + std::string(length, '\n') + "B"),
                  std::string_view("A" + std::string(lengths[length], '\n') + "B"))
            << length;
    }
}

TEST(HelpText, EndsWhenItIsToldTo) {
    const std::atomic<bool> abort = true;
    EXPECT_THROW(CleanHelpText("one", &abort), Kernel::Aborted);
}

}  // namespace
}  // namespace Learning
