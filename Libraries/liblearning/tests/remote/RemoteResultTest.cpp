#include "Kernel/Format.h"
#include "Learning/RemoteResult.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace Learning {
namespace {

using Result = RemoteResult;

struct CodeCase {
    const char* serviceCode;
    int code;
    int seconds;
};

TEST(RemoteResult, KnowsTheServicesNames) {
    const CodeCase cases[] = {
        {"GENERATION_REJECTED", 1, 0},
        {"GENERATION_REJECTED_CELEBRITY", 2, 0},
        {"GENERATION_REJECTED_INAPPROPRIATE", 3, 0},
        {"GENERATION_REJECTED_POLITICAL", 4, 0},
        {"GENERATION_REJECTED_VIOLENCE", 5, 0},
        {"GENERATION_REJECTED_TRADEMARK", 6, 0},
        {"GENERATION_REJECTED_MINORS", 7, 0},
        {"CREDITS_INSUFFICIENT", 10, 0},
        {"ACCOUNT_INSUFFICIENT", 12, 0},
        {"CLIENT_INSUFFICIENT", 13, 0},
        {"REQUEST_INSUFFICIENT", 14, 0},
        {"TEMPORARILY_UNAVAILABLE", 15, 0},
        {"THROTTLE_INSUFFICIENT", 16, 0},
        {"", 8, 0},
        {"SUCCESS", 8, 0},
        {"credits_insufficient", 8, 0},
        {"CREDITS_INSUFFICIENT ", 8, 0},
        {"CREDITS_COOLDOWN", 8, 0},
        {"credits_cooldown:5", 8, 0},
        {" CREDITS_COOLDOWN:5", 8, 0},
        {"CREDITS_COOLDOWN:", 11, 0},
        {"CREDITS_COOLDOWN:90", 11, 90},
        {"CREDITS_COOLDOWN: \t\n\v\f\r+7s", 11, 7},
        {"CREDITS_COOLDOWN:-90", 11, -90},
        {"CREDITS_COOLDOWN:+-5", 11, 0},
        {"CREDITS_COOLDOWN:- 5", 11, 0},
        {"CREDITS_COOLDOWN:1.9", 11, 1},
        {"CREDITS_COOLDOWN:soon", 11, 0},
        {"CREDITS_COOLDOWN:2147483647", 11, 2147483647},
        {"CREDITS_COOLDOWN:2147483648", 11, 2147483647},
        {"CREDITS_COOLDOWN:-2147483648", 11, -2147483647 - 1},
        {"CREDITS_COOLDOWN:-99999999999999999999999999", 11, -2147483647 - 1},
        {"CREDITS_COOLDOWN:99999999999999999999999999", 11, 2147483647},
    };
    for (const auto& [serviceCode, code, seconds] : cases) {
        const Result result(Kernel::String(serviceCode), "its words");
        EXPECT_EQ(result.code, code) << serviceCode;
        EXPECT_EQ(result.seconds, seconds) << serviceCode;
        EXPECT_EQ(result.message, "its words");
        EXPECT_FALSE(result.IsSuccess());
    }
    EXPECT_TRUE(Result(Result::Success, {}).IsSuccess());
    EXPECT_EQ(Result().code, Result::UnknownError);
}

TEST(RemoteResult, TellsTheUserWhatHasHappened) {
    const std::string rejected = "Your request was rejected by the content filter";
    const std::string end =
        ", please try a different request.\r\n\r\nFailed requests do not count as usage.";
    const std::array<std::string, 17> texts{
        "Success",
        rejected + end,
        rejected + " (referenced a known person)" + end,
        rejected + " (inappropriate)" + end,
        rejected + " (political content)" + end,
        rejected + " (referenced violence)" + end,
        rejected + " (referenced a trademark)" + end,
        rejected + " (referenced minors)" + end,
        "An unknown error occured - please try again.",
        "A communications failure occured - please check your internet connection and try again.",
        "You do not have enough credits to perform this operation.",
        "You must wait 0 second(s) before you use can this feature again.",
        "Your account is not allowed to perform this operation.",
        "Your version of Orvantis is too old to perform this operation - please update.",
        "The operation could not be successfully completed - plesae try a different image.",
        "This operation is temporarily unavailable - please try again later.",
        "You have performed this operation too often recently - please try again later.",
    };
    for (std::size_t code = 0; code < texts.size(); ++code) {
        const auto message = Result(static_cast<Result::Code>(code), "more").GetUserMessage();
        EXPECT_EQ(message.Translate(), texts[code].c_str());
        EXPECT_EQ(message.IsFake(), code == Result::CreditsCooldown);
        EXPECT_TRUE(message.IsFake() || message.GetContext() == "Remote inference");
    }
    for (const int code : {-1, 17}) {
        EXPECT_EQ(Result(static_cast<Result::Code>(code), {}).GetUserMessage(),
                  Kernel::LocalisedString());
    }
}

TEST(RemoteResult, SaysHowLongToWait) {
    const struct {
        int seconds;
        const char* wait;
    } cases[] = {
        {59, "59 second(s)"},
        {60, "1 minute(s)"},
        {90, "1 minute(s)"},
        {3599, "59 minute(s)"},
        {3600, "1 hour(s) 0 minute(s)"},
        {3659, "1 hour(s) 0 minute(s)"},
        {7322, "2 hour(s) 2 minute(s)"},
        {-59, "-59 second(s)"},
        {-60, "-1 minute(s)"},
        {-90, "-1 minute(s)"},
        {-3600, "-60 minute(s)"},
        {2147483647, "596523 hour(s) 14 minute(s)"},
    };
    for (const auto& [seconds, wait] : cases) {
        Result result(Result::CreditsCooldown, {});
        result.seconds = seconds;
        EXPECT_EQ(result.GetUserMessage().Translate(),
                  Kernel::Format("You must wait %1 before you use can this feature again.", wait));
    }
}

}  // namespace
}  // namespace Learning
