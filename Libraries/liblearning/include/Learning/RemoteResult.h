// How an operation of the inference service has ended.

#pragma once

#include "Kernel/LocalisedString.h"
#include "Kernel/String.h"
#include "Learning/Export.h"

#include <cstdint>

namespace Learning {

/// The outcome of a remote operation, as RemoteInference::Result.
class LEARNING_API RemoteResult {
public:
    /// Deliberate: in the service's own order trademarks and minors are the other way round.
    enum Code : std::int32_t {
        Success = 0,
        GenerationRejected = 1,  // by the content filter, as the six that follow
        GenerationRejectedCelebrity = 2,
        GenerationRejectedInappropriate = 3,
        GenerationRejectedPolitical = 4,
        GenerationRejectedViolence = 5,
        GenerationRejectedTrademark = 6,
        GenerationRejectedMinors = 7,
        UnknownError = 8,           // the service answers otherwise than it should
        CommunicationsFailure = 9,  // there is no answer
        CreditsInsufficient = 10,
        CreditsCooldown = 11,  // for `seconds`
        AccountInsufficient = 12,
        ClientInsufficient = 13,   // this program is too old
        RequestInsufficient = 14,  // another picture might do
        TemporarilyUnavailable = 15,
        ThrottleInsufficient = 16,  // too many requests
    };

    /// UnknownError.
    RemoteResult() = default;
    RemoteResult(Code outcome, Kernel::String words);
    /// For what the service calls the outcome, such as "CREDITS_COOLDOWN:90". A name that it should
    /// not have used means UnknownError.
    RemoteResult(const Kernel::String& serviceCode, Kernel::String words);

    bool IsSuccess() const noexcept { return code == Success; }

    /// What to tell the user; empty for a code that is none of the above. The context is "Remote
    /// inference"; the texts for CreditsCooldown are translated already.
    Kernel::LocalisedString GetUserMessage() const;

    Code code = UnknownError;
    Kernel::String message;    // what the service adds in its own words; may be empty
    std::int32_t seconds = 0;  // until the operation may be tried again, for CreditsCooldown
};

}  // namespace Learning
