// Jobs of the service, which clients poll until there are pictures.

#pragma once

#include "Kernel/JsonFwd.h"
#include "Kernel/String.h"

#include "remote/calls/Transport.h"
#include "remote/pictures/ServicePictures.h"

#include <chrono>
#include <functional>
#include <optional>

namespace Learning {

/// How an operation waits for its pictures.
struct PollRules {
    const char* operation;                // as the service calls it
    std::chrono::milliseconds firstWait;  // before the first poll
    int attempts;                         // polls for one index, answered or not
    bool endsWithError;                   // an error ends the call, not only that picture
};

inline constexpr PollRules TextToImagePolling{"textToImageAsync", std::chrono::seconds(15), 20,
                                              false};
inline constexpr PollRules ImageToImagePolling{"imageEdit", std::chrono::seconds(10), 30, true};
inline constexpr PollRules ObjectReplacementPolling{"imageObjectReplacementAsync",
                                                    std::chrono::seconds(15), 20, false};

/// A job that the service has accepted. All operations throw what PostToService() does, and
/// Refusal.
class ServiceJob {
public:
    /// Makes what every request says of its sender, afresh for each.
    using MakeRequest = std::function<Kernel::Json::Value()>;
    /// Hears every reply that says something else than that the job is not done.
    using SeeReply = std::function<void(const Kernel::Json::Value&)>;
    using TakePicture = std::function<void(Picture)>;

    /// Sends `body` to the operation of `rules` and waits as long as a job takes at least.
    static ServiceJob Submit(const PollRules& rules, const Kernel::Json::Value& body,
                             MakeRequest makeRequest);
    /// A job that has been accepted before. `budget` is that of all its pictures.
    ServiceJob(const PollRules& rules, Kernel::String id, MakeRequest makeRequest,
               PixelBudget budget = PixelBudget());

    const Kernel::String& GetId() const noexcept { return m_id; }

    /// Polls for picture `index` and fetches all pictures that come of that, in their order; what
    /// is no picture is left out, and so is one beyond the budget. None if the service gives the
    /// index up, or takes too long.
    void Fetch(int index, const TakePicture& take, const SeeReply& see = {});

private:
    std::optional<Kernel::Json::Value> Poll(int index, const SeeReply& see) const;
    void Download(const Kernel::Json::Value& addresses, const TakePicture& take);

    const PollRules& m_rules;
    Kernel::String m_id;
    MakeRequest m_makeRequest;
    PixelBudget m_budget;
};

/// The object in a reply to a request. Throws Refusal if it is none, or says that the request has
/// failed.
Kernel::Json::Value ReadReply(const ServiceReply& reply);

/// The text of a member of `reply`; throws Refusal if there is none.
Kernel::String ReadText(const Kernel::Json::Value& reply, const char* key);

}  // namespace Learning
