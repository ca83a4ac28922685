#include "Learning/RemoteResult.h"

#include "Kernel/Format.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <string_view>
#include <utility>

namespace Learning {

namespace {

using Kernel::Translatable;

constexpr std::string_view CooldownPrefix = "CREDITS_COOLDOWN:";

struct ServiceCode {
    std::string_view name;
    RemoteResult::Code code;
};

constexpr std::array<ServiceCode, 13> ServiceCodes{{
    {"GENERATION_REJECTED", RemoteResult::GenerationRejected},
    {"GENERATION_REJECTED_CELEBRITY", RemoteResult::GenerationRejectedCelebrity},
    {"GENERATION_REJECTED_INAPPROPRIATE", RemoteResult::GenerationRejectedInappropriate},
    {"GENERATION_REJECTED_POLITICAL", RemoteResult::GenerationRejectedPolitical},
    {"GENERATION_REJECTED_VIOLENCE", RemoteResult::GenerationRejectedViolence},
    {"GENERATION_REJECTED_TRADEMARK", RemoteResult::GenerationRejectedTrademark},
    {"GENERATION_REJECTED_MINORS", RemoteResult::GenerationRejectedMinors},
    {"CREDITS_INSUFFICIENT", RemoteResult::CreditsInsufficient},
    {"ACCOUNT_INSUFFICIENT", RemoteResult::AccountInsufficient},
    {"CLIENT_INSUFFICIENT", RemoteResult::ClientInsufficient},
    {"REQUEST_INSUFFICIENT", RemoteResult::RequestInsufficient},
    {"TEMPORARILY_UNAVAILABLE", RemoteResult::TemporarilyUnavailable},
    {"THROTTLE_INSUFFICIENT", RemoteResult::ThrottleInsufficient},
}};

/// The decimal integer at the start of `text` as atoi() reads it, which leaves open what becomes of
/// those that are out of range: here they become the nearest that is not.
std::int32_t ReadInteger(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    constexpr std::int64_t Limit = std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1;
    std::int64_t value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') {
            break;
        }
        value = std::min(10 * value + (c - '0'), Limit);
    }
    return static_cast<std::int32_t>(isNegative ? -value : std::min(value, Limit - 1));
}

// The texts are the keys of their translations: their spelling stays as it is.

/// The text for each code but CreditsCooldown, by its number.
constexpr std::array<Translatable, 17> ResultMessages{
    Translatable("Remote inference", "Success"),
    Translatable("Remote inference",
                 "Your request was rejected by the content filter, please try a different request."
                 "\r\n\r\nFailed requests do not count as usage."),
    Translatable(
        "Remote inference",
        "Your request was rejected by the content filter (referenced a known person), please try a "
        "different request.\r\n\r\nFailed requests do not count as usage."),
    Translatable(
        "Remote inference",
        "Your request was rejected by the content filter (inappropriate), please try a different "
        "request.\r\n\r\nFailed requests do not count as usage."),
    Translatable("Remote inference",
                 "Your request was rejected by the content filter (political content), please try "
                 "a different request.\r\n\r\nFailed requests do not count as usage."),
    Translatable(
        "Remote inference",
        "Your request was rejected by the content filter (referenced violence), please try a "
        "different request.\r\n\r\nFailed requests do not count as usage."),
    Translatable(
        "Remote inference",
        "Your request was rejected by the content filter (referenced a trademark), please try a "
        "different request.\r\n\r\nFailed requests do not count as usage."),
    Translatable("Remote inference",
                 "Your request was rejected by the content filter (referenced minors), please try "
                 "a different request.\r\n\r\nFailed requests do not count as usage."),
    Translatable("Remote inference", "An unknown error occured - please try again."),
    Translatable(
        "Remote inference",
        "A communications failure occured - please check your internet connection and try again."),
    Translatable("Remote inference", "You do not have enough credits to perform this operation."),
    Translatable(nullptr, nullptr),  // CreditsCooldown
    Translatable("Remote inference", "Your account is not allowed to perform this operation."),
    Translatable("Remote inference",
                 "Your version of Orvantis is too old to perform this operation - please update."),
    Translatable(
        "Remote inference",
        "The operation could not be successfully completed - plesae try a different image."),
    Translatable("Remote inference",
                 "This operation is temporarily unavailable - please try again later."),
    Translatable("Remote inference",
                 "You have performed this operation too often recently - please try again later."),
};

template <class... Numbers>
Kernel::LocalisedString Fill(const Kernel::LocalisedString& pattern, Numbers... numbers) {
    return Kernel::LocalisedString::CreateFakeFromString(
        Kernel::Format(pattern.Translate(), numbers...));
}

Kernel::LocalisedString DescribeCooldown(std::int32_t seconds) {
    const std::int32_t minutes = seconds / 60;
    if (minutes == 0) {
        return Fill(
            Translatable("Remote inference",
                         "You must wait %1 second(s) before you use can this feature again."),
            seconds);
    }
    if (minutes < 60) {
        return Fill(
            Translatable("Remote inference",
                         "You must wait %1 minute(s) before you use can this feature again."),
            minutes);
    }
    const std::int32_t hours = seconds / 3600;
    return Fill(Translatable(
                    "Remote inference",
                    "You must wait %1 hour(s) %2 minute(s) before you use can this feature again."),
                hours, minutes - 60 * hours);
}

}  // namespace

RemoteResult::RemoteResult(Code outcome, Kernel::String words)
    : code(outcome), message(std::move(words)) {}

RemoteResult::RemoteResult(const Kernel::String& serviceCode, Kernel::String words)
    : message(std::move(words)) {
    const std::string_view name = serviceCode;
    const auto* const known = std::ranges::find(ServiceCodes, name, &ServiceCode::name);
    if (known != ServiceCodes.end()) {
        code = known->code;
    } else if (name.starts_with(CooldownPrefix)) {
        code = CreditsCooldown;
        seconds = ReadInteger(name.substr(CooldownPrefix.size()));
    }
}

Kernel::LocalisedString RemoteResult::GetUserMessage() const {
    if (code == CreditsCooldown) {
        return DescribeCooldown(seconds);
    }
    const auto index = static_cast<std::size_t>(code);
    return code >= 0 && index < ResultMessages.size()
               ? Kernel::LocalisedString(ResultMessages[index])
               : Kernel::LocalisedString();
}

}  // namespace Learning
